#include "formats/description_exchange.h"

#include "vexbase/vex_text.h"

namespace formats {

bool AddressOfLocation(std::string_view url, std::string &address)
{
    constexpr std::string_view kScheme = "http://";
    const std::size_t scheme = url.find(kScheme);
    if (scheme == std::string_view::npos) {
        return false;
    }
    url.remove_prefix(scheme + kScheme.size());
    const std::size_t port = url.find(":80");
    if (port == std::string_view::npos) {
        return false;
    }
    address = url.substr(0, port);
    return true;
}

std::string ComposeGETRequest(std::string_view url, std::string_view address)
{
    return vexbase::Concat({"GET ", url, " HTTP/1.1\r\nHOST:", address, ":1900\r\n\r\n"});
}

std::string_view RequestedName(std::string_view request)
{
    constexpr std::string_view kEnding = "xml";
    const std::size_t ending = request.find(kEnding);
    if (ending == std::string_view::npos) {
        return {};
    }
    request = request.substr(0, ending + kEnding.size());
    const std::size_t slash = request.rfind('/');
    return slash == std::string_view::npos ? std::string_view() : request.substr(slash);
}

std::string ComposeGETResponse(std::string_view document, std::size_t size)
{
    return vexbase::Concat(
        {"HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\nCONTENT-LENGTH: ", std::to_string(size),
         "\r\nCONTENT-TYPE: text/xml; charset=\"utf-8\"\r\n", document, "\r\n\r\n"});
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
