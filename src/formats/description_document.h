#pragma once

#include "formats/ssdp_device_type.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// The device description document (UPnP Device Architecture 1.0, section 2.1), and
// the GET request and response by which devices of this family exchange it: one
// datagram each, between the SSDP ports. No TCP connection is made; a LOCATION URL
// only carries an address and a file name.
//
// Pure functions. The readers search for texts instead of parsing XML and headers: there is no
// empty line between the headers and the document, and values are not escaped.
namespace formats {

// The document's file name: the product name with spaces as "_" and ASCII capitals
// lowered, "_upnp_ssdp_", the number and ".xml".
[[nodiscard]] std::string DescriptionFileName(std::string_view productName, std::uint32_t number);

// Composes the document of a service. fileName becomes the SCPDURL; makerURL ends in a
// slash. Lines end in "\n"; values are inserted without XML escaping, as the reader
// expects them.
[[nodiscard]] std::string ComposeDescription(const SSDPDeviceType &service,
                                             std::string_view fileName, std::string_view makerURL);

// Reads the record of a device from a response. Nothing if the response has no
// friendlyName or no UDN, or an empty UDN; any other missing element is an empty
// field. maxAge is "120" if the response has none. Other fields and times are not set.
[[nodiscard]] std::optional<SSDPDeviceType> ReadDescription(std::string_view response);

// Reads the address in a LOCATION URL: the text between "http://" and ":80". False,
// with address unchanged, if one of them is missing.
[[nodiscard]] bool AddressOfLocation(std::string_view url, std::string &address);

// Composes the request for a document: the whole URL as target, and no space after
// "HOST:".
[[nodiscard]] std::string ComposeGETRequest(std::string_view url, std::string_view address);

// Reads the name of the document that a request asks for: from the last "/" before
// the first "xml" to the end of that "xml". The name has no other slash, so the file
// is always directly in the web root. Empty if the request has no such name.
[[nodiscard]] std::string_view RequestedName(std::string_view request);

// Composes the response with a document, deliberately without an empty line between headers
// and document. size is that of the file in bytes, for CONTENT-LENGTH.
[[nodiscard]] std::string ComposeGETResponse(std::string_view document, std::uint64_t size);

} // namespace formats
