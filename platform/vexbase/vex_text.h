#pragma once

#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>

// Text helpers. Pure functions.
namespace vexbase {

// Appends the pieces to a text, with at most one allocation.
inline void Append(std::string &text, std::initializer_list<std::string_view> pieces)
{
    std::size_t size = text.size();
    for (const std::string_view piece : pieces) {
        size += piece.size();
    }
    text.reserve(size);
    for (const std::string_view piece : pieces) {
        text.append(piece);
    }
}

// Joins the pieces into one text.
[[nodiscard]] inline std::string Concat(std::initializer_list<std::string_view> pieces)
{
    std::string text;
    Append(text, pieces);
    return text;
}

// An ASCII capital letter in lower case; other bytes unchanged. Unlike tolower(), the result
// does not depend on the locale.
[[nodiscard]] constexpr char LowerASCII(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Compares without regard to the case of ASCII letters. REQUIRES: lower has no capitals.
[[nodiscard]] inline bool EqualsLower(std::string_view text, std::string_view lower)
{
    return text.size() == lower.size() &&
           std::equal(text.begin(), text.end(), lower.begin(),
                      [](char a, char b) { return LowerASCII(a) == b; });
}

} // namespace vexbase
