#pragma once

#include "formats/ssdp_device_type.h"

#include <cstddef>
#include <string>

// The browse list: the JSON document (RFC 8259) that the device's web interface
// reads. Pure functions.
namespace formats {

// Composes the document: an array with one object for each device, in key order,
// on one line without blanks or a final newline. Keys always come in the same
// order and every key is present. "port" is the number 80 whatever a device
// announced, "boardType" repeats "deviceName"; all other values are strings.
// Bytes from 0x20 up pass as they are: UTF-8 stays UTF-8.
[[nodiscard]] std::string ComposeBrowseDocument(const SSDPDeviceMap &devices);

// The bytes that a device adds to the document, with the comma after it.
[[nodiscard]] std::size_t SizeOfBrowseObject(const SSDPDeviceType &device);

// Whether two records give the same object.
[[nodiscard]] bool AreListedAlike(const SSDPDeviceType &a, const SSDPDeviceType &b);

} // namespace formats
