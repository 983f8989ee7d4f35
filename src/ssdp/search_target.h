#pragma once

#include "formats/ssdp_device_type.h"

#include <string_view>
#include <vector>

namespace ssdp {

// The services that answer a search (UPnP Device Architecture 1.0, section 1.2.3),
// in key order. The pointers are good until the map changes.
//  - target "ssdp:all": every service;
//  - a target with "uuid:" in it and more: the service with exactly this USN, and
//    nothing else is tried;
//  - any other: services of exactly this notification type, after a version of
//    one digit (":1") was cut off the target's end. That is deliberately this
//    narrow: services are stored without a version.
[[nodiscard]] std::vector<const SSDPDeviceType *> MatchSearchTarget(const SSDPDeviceMap &services,
                                                                    std::string_view target);

} // namespace ssdp
