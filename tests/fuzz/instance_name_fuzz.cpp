// DNS-SD instance names: for every host name, and a product without a space, the instance name
// consists of letters, digits and hyphens, and begins with a letter. (Without a usable host name
// it contains the product's name unchanged.)

#include "check.h"
#include "mdns/dns_sd.h"
#include "memory.h"

#include <algorithm>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view input = Text(data, size);
    const MemoryCount memory;
    const std::string name = mdns::instanceName(input, "Corvia12", "1HE000000");
    // A text doubles its room when it grows: all rooms together are less than four times it.
    FUZZ_CHECK(memory.Allocated() <= 64 + 4 * size);
    FUZZ_CHECK(!name.empty() && name.size() <= mdns::kInstanceNameMax);
    FUZZ_CHECK((name[0] >= 'a' && name[0] <= 'z') || (name[0] >= 'A' && name[0] <= 'Z'));
    FUZZ_CHECK(std::all_of(name.begin(), name.end(), [](char c) {
        return (IsPlain(c) && c != ' ' && c != '.') || c == '-';
    }));
    FUZZ_CHECK(mdns::instanceName(name, "", "") == name); // nothing more to drop
    return 0;
}
