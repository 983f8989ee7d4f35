#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

// Helpers of all fuzz targets: a check that ends the program in every build type, and the
// input as a text.

#define FUZZ_CHECK(condition)                                                                      \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "%s:%d: not true: %s\n", __FILE__, __LINE__, #condition);         \
            std::abort();                                                                          \
        }                                                                                          \
    } while (false)

inline std::string_view Text(const std::uint8_t *data, std::size_t size)
{
    return {reinterpret_cast<const char *>(data), size};
}

// Whether a view is a part of a text; an empty view may be anywhere.
inline bool IsWithin(std::string_view view, std::string_view text)
{
    return view.empty() ||
           (view.data() >= text.data() && view.data() + view.size() <= text.data() + text.size());
}

inline bool IsPlain(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == ' ' ||
           c == '.';
}

// The ASCII letters, digits, spaces and dots of a text: a description document contains them
// without escapes, and none of them ends a value there.
inline std::string Plain(std::string_view text)
{
    std::string plain;
    for (const char c : text) {
        if (IsPlain(c)) {
            plain += c;
        }
    }
    return plain;
}
