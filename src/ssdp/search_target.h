#pragma once

#include "formats/ssdp_device_type.h"

#include <string_view>
#include <vector>

namespace ssdp {

// The services that match a search target (UPnP Device Architecture 1.0, section
// 1.2.3), in the order of their USNs. The pointers are valid until the map changes.
//  - "ssdp:all": every service;
//  - a target that contains "uuid:" and is longer than that: the service with exactly
//    this USN; notification types are not tried;
//  - any other: the services of exactly this notification type. A version of one
//    digit (":1") at the target's end is cut off first. This is deliberately narrow:
//    services are stored without a version.
[[nodiscard]] std::vector<const SSDPDeviceType *>
MatchSearchTarget(const formats::SSDPDeviceMap &services, std::string_view target);

} // namespace ssdp
