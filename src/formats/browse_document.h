#pragma once

#include "formats/ssdp_device_type.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// The browse list: the JSON document (RFC 8259) that the device's web interface
// reads. Pure functions.
//
// The keys, with the fields of the record: "serviceDescription" productName, "hostName"
// hostName, "ipAddress" ipAddress, "deviceName" and "boardType" modelName, "description"
// modelDescription, "boardNumber" instance, "boardID" boardID. "serviceType",
// "serviceDomain" and "port" are constant.
namespace formats {

// Composes the document: an array with one object for each device, in the order of the
// USNs, on one line without spaces or a final newline. All keys are present, always in the
// same order. "port" is always the number 80; all other values are strings. Bytes below
// 0x20, double quotes and backslashes are escaped, all other bytes are copied: UTF-8 stays
// UTF-8, and invalid UTF-8 stays invalid. A device's announced port is not used.
[[nodiscard]] std::string ComposeBrowseDocument(const SSDPDeviceMap &devices);

// The size in bytes of a device's object and the comma after it.
[[nodiscard]] std::size_t SizeOfBrowseObject(const SSDPDeviceType &device);
// The same for a device whose texts need no escapes. It does not read the texts, so it
// takes a tenth of the time.
[[nodiscard]] std::size_t SizeOfPlainBrowseObject(const SSDPDeviceType &device);

// Whether two records are written as the same object.
[[nodiscard]] bool AreListedAlike(const SSDPDeviceType &a, const SSDPDeviceType &b);

// Reads a document: the fields that it has of each device, in the document's order.
// Bytes that are not UTF-8 are replaced by U+FFFD. A key that is missing or has no
// string is an empty field. False, with error set to one line and devices unchanged,
// if the text is not JSON or not an array of objects, or has a number that is too large.
//
// This function and the next are in the separate library formats-json: tools read the list,
// the daemon only writes it and links no JSON library for it.
[[nodiscard]] bool ReadBrowseDocument(std::string_view text, std::vector<SSDPDeviceType> &devices,
                                      std::string &error);

// Reads a document and writes it again as JSON on one line without a newline: the same
// objects in the same order with the same members, in valid UTF-8. The members of an object
// are in alphabetical order. Members that are arrays or objects are left out: a browse list
// has none. False, with error set to one line and copy unchanged, as for ReadBrowseDocument.
[[nodiscard]] bool CopyBrowseDocument(std::string_view text, std::string &copy, std::string &error);

} // namespace formats
