#pragma once

#include "formats/ssdp_device_type.h"

#include <optional>
#include <string>
#include <string_view>

// The device description document (UPnP Device Architecture 1.0, section 2.1):
// its writer and its reader, pure functions side by side. The document says at
// most what fits one datagram, and is read by searching, since it arrives
// behind headers without an empty line between.
namespace formats {

// The document's file name: the product name with blanks as "_" and ASCII
// capitals lowered, "_upnp_ssdp_", the number and ".xml".
[[nodiscard]] std::string DescriptionFileName(std::string_view productName, std::uint32_t number);

// Composes the document of a service. fileName is entered as SCPDURL; makerURL
// ends in a slash. Lines end in "\n"; values are inserted as they stand, without
// XML escaping, as the reader expects them.
[[nodiscard]] std::string ComposeDescription(const SSDPDeviceType &service,
                                             std::string_view fileName, std::string_view makerURL);

// Reads the record of a device out of a description response. Nothing when the
// response has no friendlyName or no UDN with a text in it; any other missing
// element is an empty field. max-age is "120" unless the response carries one.
// Fields that a document does not have are empty, and no time is set.
[[nodiscard]] std::optional<SSDPDeviceType> ReadDescription(std::string_view response);

} // namespace formats
