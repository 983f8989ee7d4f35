#include "formats/ssdp_messages.h"

#include "vexbase/vex_text.h"

#include <algorithm>

namespace formats {
namespace {

using vexbase::EqualsLower;

std::string_view Trim(std::string_view text)
{
    constexpr std::string_view kWhiteSpace = " \t\r";
    const std::size_t start = text.find_first_not_of(kWhiteSpace);
    return start == std::string_view::npos
               ? std::string_view()
               : text.substr(start, text.find_last_not_of(kWhiteSpace) - start + 1);
}

void ReadHeader(std::string_view line, SearchResponseHeaders &headers)
{
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        return;
    }
    const std::string_view name = line.substr(0, colon);
    const std::string_view value = Trim(line.substr(colon + 1));
    if (EqualsLower(name, "st")) {
        headers.searchTarget = value;
    } else if (EqualsLower(name, "usn")) {
        headers.usn = value;
    } else if (EqualsLower(name, "location")) {
        headers.location = value;
    } else if (EqualsLower(name, "server")) {
        headers.server = value;
    }
}

} // namespace

std::string ComposeAlive(const SSDPDeviceType &service)
{
    return vexbase::Concat(
        {"NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: ", service.notificationType,
         "\r\nNTS: ssdp:alive\r\nLOCATION: ", service.location, "\r\nUSN: ", service.usn,
         "\r\nCACHE-CONTROL: max-age=", service.maxAge, "\r\nSERVER: ", service.server,
         "\r\n\r\n"});
}

std::string ComposeGoodbye(const SSDPDeviceType &service)
{
    return vexbase::Concat(
        {"NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: ", service.notificationType,
         "\r\nNTS: ssdp:byebye\r\nLOCATION: ", service.location, "\r\nUSN: ", service.usn,
         "\r\n\r\n"});
}

std::string ComposeSearchRequest(std::string_view searchTarget)
{
    return vexbase::Concat({"M-SEARCH * HTTP/1.1\r\nHOST:239.255.255.250:1900\r\nST:", searchTarget,
                            "\r\nMAN:\"ssdp:discover\"\r\nMX:3\r\n\r\n"});
}

std::string ComposeStandardSearchRequest(std::string_view searchTarget)
{
    return vexbase::Concat({"M-SEARCH * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\n"
                            "MAN: \"ssdp:discover\"\r\nMX: 3\r\nST: ",
                            searchTarget, "\r\n\r\n"});
}

std::string ComposeSearchResponse(const SSDPDeviceType &service)
{
    return vexbase::Concat({"HTTP/1.1 200 OK\r\nCACHE-CONTROL: max-age=", service.maxAge,
                            "\r\nEXT:\r\nLOCATION: ", service.location,
                            "\r\nSERVER: ", service.server, "\r\nST: ", service.notificationType,
                            "\r\nUSN: ", service.usn, "\r\n\r\n"});
}

std::optional<SearchResponseHeaders> ReadSearchResponse(std::string_view datagram)
{
    if (datagram.substr(0, 5) != "HTTP/") {
        return std::nullopt;
    }
    SearchResponseHeaders headers;
    while (!datagram.empty()) {
        const std::string_view line = datagram.substr(0, datagram.find('\n'));
        ReadHeader(line, headers);
        datagram.remove_prefix(std::min(line.size() + 1, datagram.size()));
    }
    return headers;
}

SearchResponse ReadSearchResponseUSN(std::string_view response, std::string_view &usn)
{
    const std::size_t start = response.find("uuid");
    if (start == std::string_view::npos) {
        return SearchResponse::NoUuid;
    }
    const std::size_t end = response.find("\r\n", start);
    if (end == std::string_view::npos) {
        return SearchResponse::NoLineEnd;
    }
    usn = response.substr(start, end - start);
    return SearchResponse::Read;
}

std::string_view ReadSearchResponseLocation(std::string_view response)
{
    constexpr std::string_view kName = "LOCATION: ";
    const std::size_t header = response.find("LOCATION: http");
    if (header == std::string_view::npos) {
        return {};
    }
    response.remove_prefix(header + kName.size());
    const std::size_t end = response.find("\r\n");
    return end == std::string_view::npos ? std::string_view() : response.substr(0, end);
}

} // namespace formats
