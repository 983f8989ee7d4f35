// max-age texts: the results are those of the standard library's functions, within the limits. Only
// the text itself is ever copied.

#include "check.h"
#include "formats/ssdp_headers.h"
#include "formats/ssdp_protocol.h"
#include "memory.h"
#include "ssdp/timing.h"
#include "support/fake_environment.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <sstream>

namespace {

void CheckDirective(const std::string &text)
{
    const long value = std::strtol(text.c_str(), nullptr, 0);
    const long expected =
        std::clamp<long>(value, std::numeric_limits<std::int32_t>::min(), formats::kLargestMaxAge);
    const MemoryCount memory;
    FUZZ_CHECK(formats::ReadMaxAgeDirective(text) == expected);
    FUZZ_CHECK(memory.Allocated() == 0);
}

void CheckDecimal(const std::string &text)
{
    test::FakeEnvironment environment;
    environment.random = static_cast<std::uint32_t>(text.size());
    ssdp::Timing timing(environment);
    std::istringstream stream(text);
    long long value = 0;
    stream >> value; // the largest number if it is too large
    const bool usable = value >= formats::kLeastMaxAge;
    std::string rewritten = text;
    const MemoryCount memory;
    const std::uint32_t milliseconds = timing.GetMaximumAge(rewritten);
    FUZZ_CHECK(memory.Allocated() == 0); // three digits are written in place
    if (usable) {
        FUZZ_CHECK(rewritten == text);
        FUZZ_CHECK(milliseconds == std::min<long long>(value, formats::kLargestMaxAge) * 1000);
    } else {
        FUZZ_CHECK(milliseconds >= 120000 && milliseconds <= 129000);
        FUZZ_CHECK(rewritten == std::to_string(milliseconds / 1000));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view input = Text(data, size);
    const std::string text(input.substr(0, input.find('\0')));
    CheckDirective(text);
    CheckDecimal(text);
    const MemoryCount memory;
    std::string found;
    formats::GetMaximumAgeString(input, found);
    FUZZ_CHECK(memory.Allocated() <= 32 + size);
    FUZZ_CHECK(!found.empty() && found.size() <= std::max<std::size_t>(size, 3));
    return 0;
}
