#pragma once

#include "beaconctl/arguments.h"
#include "beaconctl/entries.h"

#include <string>
#include <vector>

// The address of --host, which may also be a name.
namespace beaconctl {

// The valid addresses of the entries with this host name, each once, in the order of the
// entries. The name may also be written as tables show it, with escapes. Pure function.
[[nodiscard]] std::vector<std::string> AddressesOf(const std::string &name, const Entries &entries);

// If the host of the arguments is a name, replaces it by an address: of the device that this
// device lists under this name, or otherwise of the host with this name. For the latter, it
// waits for the system's resolver (getaddrinfo). False if there is no such address, or if
// several devices with the name are listed.
[[nodiscard]] bool FindHost(Arguments &arguments, std::string &error);

} // namespace beaconctl
