// GET requests and search responses: a requested name never leaves the web root,
// and nothing is read outside the datagram.

#include "check.h"
#include "formats/description_document.h"
#include "formats/ssdp_messages.h"

#include <algorithm>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view input = Text(data, size);
    const std::string_view request = input.substr(0, input.find('\0'));
    const std::string_view name = formats::RequestedName(request);
    FUZZ_CHECK(IsWithin(name, request));
    if (!name.empty()) {
        FUZZ_CHECK(name.front() == '/');
        FUZZ_CHECK(std::count(name.begin(), name.end(), '/') == 1);
        FUZZ_CHECK(name.substr(name.size() - 3) == "xml");
    }
    std::string_view usn;
    if (formats::ReadSearchResponseUSN(input, usn) == formats::SearchResponse::Read) {
        FUZZ_CHECK(IsWithin(usn, input) && usn.substr(0, 4) == "uuid");
        FUZZ_CHECK(usn.find("\r\n") == std::string_view::npos);
    }
    const std::string_view url = formats::ReadSearchResponseLocation(input);
    FUZZ_CHECK(IsWithin(url, input) && url.find("\r\n") == std::string_view::npos);
    std::string address;
    if (formats::AddressOfLocation(input, address)) {
        // The request contains the LOCATION without changes.
        const std::string composed = formats::ComposeGETRequest(input, address);
        FUZZ_CHECK(composed.find(input) == 4);
    }
    return 0;
}
