#include "formats/utf8.h"

#include <array>

namespace formats {
namespace {

constexpr char32_t kInvalid = 0xFFFFFFFF;

// The length of the sequence that starts with this byte; 0 if no sequence does.
std::size_t SequenceLength(unsigned char first)
{
    if (first < 0x80) {
        return 1;
    }
    if (first >= 0xC2 && first < 0xE0) {
        return 2;
    }
    if (first >= 0xE0 && first < 0xF0) {
        return 3;
    }
    return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

// Whether a code point may be encoded in this number of bytes: fewer would not suffice, it
// is not a surrogate, and it is not too large.
bool IsEncodedIn(std::size_t length, char32_t code)
{
    constexpr std::array<char32_t, 5> kLeast{0, 0, 0x80, 0x800, 0x10000};
    return code >= kLeast.at(length) && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
}

// The code point at the start of a text, and the length of its sequence.
char32_t Decode(std::string_view text, std::size_t &length)
{
    const auto first = static_cast<unsigned char>(text.front());
    length = SequenceLength(first);
    if (length == 1) {
        return first;
    }
    if (length == 0 || text.size() < length) {
        return kInvalid;
    }
    char32_t code = first & (0x7FU >> length);
    for (const char c : text.substr(1, length - 1)) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xC0U) != 0x80) {
            return kInvalid;
        }
        code = code << 6U | (byte & 0x3FU);
    }
    return IsEncodedIn(length, code) ? code : kInvalid;
}

} // namespace

Character TakeCharacter(std::string_view &text)
{
    std::size_t length = 0;
    const char32_t code = Decode(text, length);
    const bool valid = code != kInvalid;
    const Character character{text.substr(0, valid ? length : 1),
                              valid ? code : static_cast<unsigned char>(text.front()), valid};
    text.remove_prefix(character.bytes.size());
    return character;
}

std::string ReplaceInvalidUtf8(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const Character character = TakeCharacter(text);
        result += character.valid ? character.bytes : "\xEF\xBF\xBD";
    }
    return result;
}

} // namespace formats
