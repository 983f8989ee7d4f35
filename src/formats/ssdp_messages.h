#pragma once

#include "formats/ssdp_device_type.h"

#include <optional>
#include <string>
#include <string_view>

// The SSDP messages (UPnP Device Architecture 1.0, sections 1.1 to 1.3), and the
// readers of search responses; ssdp_headers.h reads the other messages. Pure functions.
//
// Each composer composes one whole datagram. Field values are inserted as they are
// stored; for an empty one the header is sent without a value.
namespace formats {

// NOTIFY ssdp:alive for a service.
[[nodiscard]] std::string ComposeAlive(const SSDPDeviceType &service);

// NOTIFY ssdp:byebye: NT, LOCATION and USN of the alive message, without CACHE-CONTROL
// and SERVER.
[[nodiscard]] std::string ComposeGoodbye(const SSDPDeviceType &service);

// The daemon's M-SEARCH for a search target. No space follows the colons; MX is 3.
// The text is part of the protocol of this device family.
[[nodiscard]] std::string ComposeSearchRequest(std::string_view searchTarget);

// The M-SEARCH of tools, with the spaces and the order of headers of section 1.2.2: a
// tool also searches for devices of other makers.
[[nodiscard]] std::string ComposeStandardSearchRequest(std::string_view searchTarget);

// The response to an M-SEARCH. ST is the service's notification type, not the search
// target of the request.
[[nodiscard]] std::string ComposeSearchResponse(const SSDPDeviceType &service);

// The headers of a search response. Absent ones are empty.
struct SearchResponseHeaders
{
    std::string searchTarget;
    std::string usn;
    std::string location;
    std::string server;
};

// Reads a search response line by line. Header names are not case-sensitive. Nothing if the
// datagram does not start with "HTTP/". For tools; the daemon's readers follow.
[[nodiscard]] std::optional<SearchResponseHeaders> ReadSearchResponse(std::string_view datagram);

// The daemon's readers deliberately search for texts, case-sensitively and anywhere in
// the response, as all devices of this family do.

// The result of reading a USN.
enum class SearchResponse { NoUuid, NoLineEnd, Read };

// Reads the USN of a search response: from the first "uuid" to the end of the line.
// usn is set only if the result is Read.
[[nodiscard]] SearchResponse ReadSearchResponseUSN(std::string_view response,
                                                   std::string_view &usn);

// Reads the LOCATION of a search response: the URL up to the end of the line; empty if
// there is none.
[[nodiscard]] std::string_view ReadSearchResponseLocation(std::string_view response);

} // namespace formats
