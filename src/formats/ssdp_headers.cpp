#include "formats/ssdp_headers.h"

#include "vexbase/vex_text.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <limits>

namespace formats {
namespace {

using vexbase::EqualsLower;

bool IsLetter(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// White space within a line.
bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\v' || c == '\f';
}

bool StartsWithLower(std::string_view text, std::string_view lower)
{
    return EqualsLower(text.substr(0, lower.size()), lower);
}

// The value of a header: the text after the colon without white space at its ends and
// without one double quote at each end.
std::string_view TrimValue(std::string_view value)
{
    while (!value.empty() && IsBlank(value.front())) {
        value.remove_prefix(1);
    }
    if (!value.empty() && value.front() == '"') {
        value.remove_prefix(1);
    }
    while (!value.empty() && IsBlank(value.back())) {
        value.remove_suffix(1);
    }
    if (!value.empty() && value.back() == '"') {
        value.remove_suffix(1);
    }
    return value;
}

// Reads the max-age in a CACHE-CONTROL value, a comma-separated list of directives. The
// last max-age counts.
void ReadCacheControl(std::string_view value, std::int32_t &maxAge)
{
    while (!value.empty()) {
        if (value.front() == ',' || IsBlank(value.front())) {
            value.remove_prefix(1);
            continue;
        }
        const std::string_view directive = value.substr(0, value.find(','));
        const std::size_t equals = directive.find('=');
        if (equals != std::string_view::npos &&
            StartsWithLower(directive.substr(0, equals), "max-age")) {
            maxAge = ReadMaxAgeDirective(directive.substr(equals + 1));
        }
        value.remove_prefix(directive.size());
    }
}

NTSKind ReadNTS(std::string_view value)
{
    if (EqualsLower(value, "ssdp:alive")) {
        return NTSKind::Alive;
    }
    return EqualsLower(value, "ssdp:byebye") ? NTSKind::Byebye : NTSKind::Unknown;
}

void ReadHeader(std::string_view name, std::string_view value, SSDPHeaders &headers)
{
    if (EqualsLower(name, "nt")) {
        headers.notify.nt = value;
    } else if (EqualsLower(name, "st")) {
        headers.searchTarget = value;
    } else if (EqualsLower(name, "usn")) {
        headers.notify.usn = value;
    } else if (EqualsLower(name, "nts")) {
        const NTSKind kind = ReadNTS(value);
        headers.kind = kind != NTSKind::Unknown ? kind : headers.kind;
    } else if (EqualsLower(name, "location")) {
        headers.notify.location = value;
    } else if (EqualsLower(name, "cache-control")) {
        ReadCacheControl(value, headers.maxAge);
    }
}

// Reads the header in a line. Only names of 2, 3, 8 or 13 letters can match, so most
// lines are rejected by the position of the colon.
void ReadLine(std::string_view line, SSDPHeaders &headers)
{
    for (const std::size_t length : {2U, 3U, 8U, 13U}) { // the lengths of the names in ReadHeader
        if (line.size() > length && line[length] == ':') {
            const std::string_view value = TrimValue(line.substr(length + 1));
            if (!value.empty()) {
                ReadHeader(line.substr(0, length), value, headers);
            }
            return;
        }
    }
}

// Removes the text up to the next end character, and that character, from the start of text.
// Returns the removed text without the character.
std::string_view TakeUpTo(char end, std::string_view &text)
{
    const std::string_view piece = text.substr(0, text.find(end));
    text.remove_prefix(std::min(piece.size() + 1, text.size()));
    return piece;
}

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

// Removes a leading sign from the text; true for "-".
bool TakeSign(std::string_view &text)
{
    const bool negative = !text.empty() && text.front() == '-';
    if (negative || (!text.empty() && text.front() == '+')) {
        text.remove_prefix(1);
    }
    return negative;
}

// The base of a number, by its prefix; removes "0x" from the text if a hexadecimal digit
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

// Reads unsigned digits. False if there are none. A number of more than 32 bits is read
// as the largest of 32 bits.
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

Method ClassifyMethod(std::string_view datagram)
{
    const auto end = std::find_if_not(datagram.begin(), datagram.end(),
                                      [](char c) { return IsLetter(c) || c == '-'; });
    const std::string_view method =
        datagram.substr(0, static_cast<std::size_t>(end - datagram.begin()));
    if (method == "M-SEARCH") {
        return Method::MSearch;
    }
    if (method == "NOTIFY") {
        return Method::Notify;
    }
    if (method == "HTTP") {
        return Method::Http;
    }
    return method == "GET" ? Method::Get : Method::Unknown;
}

// A line ends at CR or LF. Two searches, for LF and then for CR, use memchr and are
// faster than one loop that compares each byte with both.
SSDPHeaders ScanHeaders(std::string_view datagram)
{
    SSDPHeaders headers;
    while (!datagram.empty()) {
        std::string_view upToLF = TakeUpTo('\n', datagram);
        while (!upToLF.empty()) {
            ReadLine(TakeUpTo('\r', upToLF), headers);
        }
    }
    return headers;
}

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
    if (mark != std::string_view::npos) {
        const std::string_view value = message.substr(mark + kMark.size());
        const std::size_t end = value.find("\r\n");
        if (end != std::string_view::npos) {
            out = value.substr(0, end);
        }
    }
    if (out.empty()) {
        out = kMissingMaxAge;
    }
}

} // namespace formats
