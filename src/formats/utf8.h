#pragma once

#include <string>
#include <string_view>

// UTF-8 (RFC 3629) in texts from the network, which need not be UTF-8. Pure functions.
namespace formats {

// A character of a text.
struct Character
{
    std::string_view bytes;
    char32_t code = 0;  // the code point, or the value of an invalid byte
    bool valid = false; // false for a byte that does not belong to a UTF-8 sequence
};

// Removes the first character from a text and returns it. REQUIRES: the text is not empty.
[[nodiscard]] Character TakeCharacter(std::string_view &text);

// The text with each invalid byte replaced by U+FFFD.
[[nodiscard]] std::string ReplaceInvalidUtf8(std::string_view text);

} // namespace formats
