// GET requests and search responses: a requested name never leaves the web root,
// and nothing is read outside the datagram. The readers allocate nothing.

#include "check.h"
#include "formats/description_document.h"
#include "formats/ssdp_messages.h"
#include "memory.h"

#include <algorithm>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view input = Text(data, size);
    const std::string_view request = input.substr(0, input.find('\0'));
    const MemoryCount reading;
    const std::string_view name = formats::RequestedName(request);
    std::string_view usn;
    const auto kind = formats::ReadSearchResponseUSN(input, usn);
    const std::string_view url = formats::ReadSearchResponseLocation(input);
    FUZZ_CHECK(reading.Allocated() == 0);
    FUZZ_CHECK(IsWithin(name, request));
    if (!name.empty()) {
        FUZZ_CHECK(name.front() == '/');
        FUZZ_CHECK(std::count(name.begin(), name.end(), '/') == 1);
        FUZZ_CHECK(name.substr(name.size() - 3) == "xml");
    }
    if (kind == formats::SearchResponse::Read) {
        FUZZ_CHECK(IsWithin(usn, input) && usn.substr(0, 4) == "uuid");
        FUZZ_CHECK(usn.find("\r\n") == std::string_view::npos);
    }
    FUZZ_CHECK(IsWithin(url, input) && url.find("\r\n") == std::string_view::npos);
    const MemoryCount memory;
    std::string address;
    if (formats::AddressOfLocation(input, address)) {
        // The request contains the LOCATION without changes.
        const std::string composed = formats::ComposeGETRequest(input, address);
        // The address is copied twice: out of the LOCATION, and into the request.
        FUZZ_CHECK(memory.Allocated() <= 64 + 3 * size);
        FUZZ_CHECK(composed.size() <= 32 + 2 * size);
        FUZZ_CHECK(composed.find(input) == 4);
    }
    return 0;
}
