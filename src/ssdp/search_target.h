#pragma once

#include "ssdp/ssdp_device_type.h"

#include <functional>
#include <string>

namespace ssdp {

// Which services answer a search (UPnP Device Architecture 1.0, section 1.2.3).
// Calls answer for each matching service, in key order:
//  - target "ssdp:all": every service;
//  - a target with "uuid:" in it and more: the service whose USN it is exactly,
//    and nothing else is tried;
//  - any other: services of exactly this notification type, after a version of
//    one digit (":1") was taken off the target's end. That is deliberately this
//    narrow: services are stored without a version.
void MatchSearchTarget(const SSDPDeviceMap &services, std::string &target,
                       const std::function<void(const SSDPDeviceType &)> &answer);

} // namespace ssdp
