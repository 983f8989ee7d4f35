#pragma once

#include "beaconctl/status_observations.h"

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

// Asks avahi-daemon of this device as any machine on the network does: by multicast DNS.
// Unlike the D-Bus interface this needs no right and no library, and never waits longer
// than wanted.
namespace beaconctl {

// The query for the services of the type _http._tcp (RFC 6762, 5.1).
[[nodiscard]] std::string ComposeServiceQuery();

// The names of the services in a response whose TXT strings are those of beacond; none if
// the datagram is no such response. It may hold any bytes. Pure function.
[[nodiscard]] std::vector<std::string> ReadServiceNames(std::string_view response);

// Asks for the services of this device's address, and waits for them at most so long.
[[nodiscard]] std::vector<std::string> AskServices(const std::string &address,
                                                   std::chrono::milliseconds timeout);

} // namespace beaconctl
