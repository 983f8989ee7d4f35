// max-age texts: the results are those of the standard library's functions, within the limits.

#include "check.h"
#include "formats/ssdp_headers.h"
#include "formats/ssdp_protocol.h"
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
    FUZZ_CHECK(formats::ReadMaxAgeDirective(text) == expected);
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
    const std::uint32_t milliseconds = timing.GetMaximumAge(rewritten);
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
    std::string found;
    formats::GetMaximumAgeString(input, found);
    FUZZ_CHECK(!found.empty());
    return 0;
}
