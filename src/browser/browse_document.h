#pragma once

#include "ssdp/ssdp_device_type.h"

#include <string>

// The browse list: the JSON document (RFC 8259) that the device's web interface
// reads. Pure function.
namespace vex::webapp::utils {

// Composes the document: an array with one object for each device, in key order,
// on one line without blanks or a final newline. Keys always come in the same
// order and every key is present. "port" is the number 80 whatever a device
// announced, "boardType" repeats "deviceName"; all other values are strings.
// Bytes from 0x20 up pass as they are, so that UTF-8 stays UTF-8.
[[nodiscard]] std::string ComposeBrowseDocument(const SSDPDeviceMap &devices);

} // namespace vex::webapp::utils
