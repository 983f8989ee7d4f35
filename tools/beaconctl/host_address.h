#pragma once

#include "beaconctl/arguments.h"
#include "beaconctl/entries.h"

#include <string>
#include <vector>

// The address of --host, which may also be a name.
namespace beaconctl {

// The addresses of the entries with a host name, each once, in the order of the entries. The
// name may also be written as tables show it, with escapes. Pure function.
[[nodiscard]] std::vector<std::string> AddressesOf(const std::string &name, const Entries &entries);

// Replaces the host of the arguments, if it is a name, by its address: that of the device that
// this device lists by this name, otherwise that of the host name (getaddrinfo), which may
// take as long as the system's resolver. False if neither exists, or if several devices with
// the name are listed.
[[nodiscard]] bool FindHost(Arguments &arguments, std::string &error);

} // namespace beaconctl
