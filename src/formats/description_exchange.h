#pragma once

#include <string>
#include <string_view>

// The texts by which devices of this family fetch each other's description
// documents: a GET request and its response, one datagram each, between the
// SSDP ports. No TCP connection is made; a LOCATION URL is only the carrier of
// an address and a file name. Pure functions, each format's writer and reader
// side by side.
namespace formats {

// The address in a LOCATION URL: what stands between "http://" and ":80". False,
// and address untouched, when a mark is missing.
[[nodiscard]] bool AddressOfLocation(std::string_view url, std::string &address);

// The request for a document: the whole URL as target, and no blank behind
// "HOST:".
[[nodiscard]] std::string ComposeGETRequest(std::string_view url, std::string_view address);

// The name of the document that a request asks for: from the last "/" before
// the first "xml" to the end of that "xml", and so always a file directly in
// the folder it is looked for in. Empty when the request names none.
[[nodiscard]] std::string_view RequestedName(std::string_view request);

// The response that carries a document of size bytes. Deliberately without an
// empty line between headers and document: the reader searches for elements.
[[nodiscard]] std::string ComposeGETResponse(std::string_view document, std::size_t size);

// What a response to an M-SEARCH tells of a device.
enum class SearchResponse { NoUuid, NoLineEnd, Read };

// Reads the USN of a response to an M-SEARCH: from "uuid" up to the line's end.
[[nodiscard]] SearchResponse ReadSearchResponseUSN(std::string_view response,
                                                   std::string_view &usn);

// Reads its LOCATION: the URL up to the line's end, empty when there is none.
[[nodiscard]] std::string_view ReadSearchResponseLocation(std::string_view response);

} // namespace formats
