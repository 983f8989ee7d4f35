#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

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

} // namespace vexbase
