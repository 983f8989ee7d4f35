#pragma once

#include "formats/ssdp_device_type.h"

#include <string>
#include <string_view>

// The SSDP messages that the engine sends (UPnP Device Architecture 1.0,
// sections 1.1 to 1.3). Pure functions: each composes one whole datagram. Field
// values are inserted as they are stored; an empty one leaves nothing between
// the header's name and the line's end, and suppresses no message.
namespace formats {

// NOTIFY ssdp:alive for a service.
[[nodiscard]] std::string ComposeAlive(const SSDPDeviceType &service);

// NOTIFY ssdp:byebye: the NT, LOCATION and USN of the alive message, with
// neither CACHE-CONTROL nor SERVER.
[[nodiscard]] std::string ComposeGoodbye(const SSDPDeviceType &service);

// M-SEARCH for a search target. No blank follows the colons; MX is always 3.
[[nodiscard]] std::string ComposeSearchRequest(std::string_view searchTarget);

// The answer to an M-SEARCH. ST is the service's own notification type, not the
// target asked for.
[[nodiscard]] std::string ComposeSearchResponse(const SSDPDeviceType &service);

} // namespace formats
