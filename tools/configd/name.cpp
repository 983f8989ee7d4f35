#include "configd/name.h"

#include <algorithm>

namespace configd {

bool IsName(std::string_view text)
{
    constexpr std::size_t kLongest = 63; // a label of DNS-SD holds no more
    const auto isRefused = [](unsigned char byte) {
        return byte < 0x20 || byte == 0x7F || byte == '<' || byte == '>' || byte == '&' ||
               byte == '"';
    };
    // U+0080 to U+009F.
    const auto isC1 = [](unsigned char first, unsigned char second) {
        return first == 0xC2 && second <= 0x9F;
    };
    return !text.empty() && text.size() <= kLongest &&
           std::none_of(text.begin(), text.end(), isRefused) &&
           std::adjacent_find(text.begin(), text.end(), isC1) == text.end();
}

} // namespace configd
