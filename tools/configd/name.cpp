#include "configd/name.h"

#include <algorithm>

namespace configd {

bool IsName(std::string_view text)
{
    constexpr std::size_t kLongest = 63; // the limit of a DNS label (RFC 6763, section 4.1.1)
    const auto isRefused = [](unsigned char byte) {
        return byte < 0x20 || byte == 0x7F || byte == '<' || byte == '>' || byte == '&' ||
               byte == '"';
    };
    // U+0080 to U+009F are C2 80 to C2 9F in UTF-8.
    const auto isC1 = [](unsigned char first, unsigned char second) {
        return first == 0xC2 && second <= 0x9F;
    };
    return !text.empty() && text.size() <= kLongest &&
           std::none_of(text.begin(), text.end(), isRefused) &&
           std::adjacent_find(text.begin(), text.end(), isC1) == text.end();
}

} // namespace configd
