// Multicast DNS responses, as beaconctl reads them: every name is a label (RFC 1035, 2.3.4)
// that the response contains, and no name comes twice.

#include "beaconctl/status_finders.h"
#include "check.h"

#include <set>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    constexpr std::size_t kLongestLabel = 63;
    const std::string_view response = Text(data, size);
    const std::vector<std::string> names = beaconctl::ReadServiceNames(response);
    FUZZ_CHECK(std::set<std::string>(names.begin(), names.end()).size() == names.size());
    for (const std::string &name : names) {
        FUZZ_CHECK(!name.empty() && name.size() <= kLongestLabel);
        FUZZ_CHECK(response.find(name) != std::string_view::npos);
    }
    return 0;
}
