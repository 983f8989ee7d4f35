// Multicast DNS responses, as beaconctl reads them: every name is a label (RFC 1035, 2.3.4)
// that the response contains, and no name comes twice. Memory and names are in proportion to
// the records for which the response has room.

#include "beaconctl/status_finders.h"
#include "check.h"
#include "memory.h"

#include <arpa/nameser.h>
#include <set>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    constexpr std::size_t kLongestLabel = 63;
    const std::string_view response = Text(data, size);
    const MemoryCount memory;
    const std::vector<std::string> names = beaconctl::ReadServiceNames(response);
    // The shortest record has the root as its name. Its parsed form, with room for any name, is
    // copied less than four times while the list grows, and one text is made of its target.
    constexpr std::size_t kShortestRecord = 11;
    constexpr std::size_t kPerRecord = 4 * sizeof(ns_rr) + NS_MAXDNAME;
    FUZZ_CHECK(memory.Allocated() <= kPerRecord * (size / kShortestRecord));
    // A name and its target are pointers of two bytes, or longer.
    constexpr std::size_t kShortestPointer = 14;
    FUZZ_CHECK(names.size() <= size / kShortestPointer);
    FUZZ_CHECK(std::set<std::string>(names.begin(), names.end()).size() == names.size());
    for (const std::string &name : names) {
        FUZZ_CHECK(!name.empty() && name.size() <= kLongestLabel);
        FUZZ_CHECK(response.find(name) != std::string_view::npos);
    }
    return 0;
}
