#include "formats/max_age.h"

#include "formats/ssdp_protocol.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <limits>

namespace formats {
namespace {

bool IsSpace(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

std::string_view SkipSpace(std::string_view text)
{
    const auto start = std::find_if_not(text.begin(), text.end(), IsSpace);
    text.remove_prefix(static_cast<std::size_t>(start - text.begin()));
    return text;
}

// Takes a leading sign off the text; true for "-".
bool TakeSign(std::string_view &text)
{
    const bool negative = !text.empty() && text.front() == '-';
    if (negative || (!text.empty() && text.front() == '+')) {
        text.remove_prefix(1);
    }
    return negative;
}

// The base that a number's prefix tells; takes "0x" off the text when a digit
// follows it.
int TakeBase(std::string_view &text)
{
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X') &&
        std::isxdigit(static_cast<unsigned char>(text[2])) != 0) {
        text.remove_prefix(2);
        return 16;
    }
    return !text.empty() && text.front() == '0' ? 8 : 10;
}

// Reads unsigned digits. False when there are none; a number too large for the
// type counts as the type's largest.
bool ReadDigits(std::string_view text, int base, std::int64_t &value)
{
    std::uint32_t digits = 0;
    const std::from_chars_result result =
        std::from_chars(text.data(), text.data() + text.size(), digits, base);
    value = result.ec == std::errc::result_out_of_range ? std::numeric_limits<std::uint32_t>::max()
                                                        : digits;
    return result.ec != std::errc::invalid_argument;
}

} // namespace

std::int32_t ReadMaxAgeDirective(std::string_view text)
{
    text = SkipSpace(text);
    const bool negative = TakeSign(text);
    const int base = TakeBase(text);
    std::int64_t value = 0;
    if (!ReadDigits(text, base, value)) {
        return 0;
    }
    constexpr std::int64_t kLeast = std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(negative ? -value : value, kLeast, kLargestMaxAge));
}

std::uint32_t ReadMaximumAge(std::string_view text)
{
    std::string_view digits = SkipSpace(text);
    const bool negative = TakeSign(digits);
    std::int64_t seconds = 0;
    if (!ReadDigits(digits, 10, seconds) || negative) {
        return 0;
    }
    return static_cast<std::uint32_t>(std::min<std::int64_t>(seconds, kLargestMaxAge));
}

void GetMaximumAgeString(std::string_view message, std::string &out)
{
    constexpr std::string_view kMark = "max-age=";
    const std::size_t mark = message.find(kMark);
    const std::size_t end = mark == std::string_view::npos ? mark : message.find("\r\n", mark);
    if (end != std::string_view::npos) {
        const std::size_t start = mark + kMark.size();
        out = message.substr(start, end - start);
    }
    if (out.empty()) {
        out = kMissingMaxAge;
    }
}

} // namespace formats
