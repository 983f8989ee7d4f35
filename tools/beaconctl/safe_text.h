#pragma once

#include <string>
#include <string_view>

// Texts of the network for terminals.

// A text in which nothing moves the cursor, colours, reverses or hides what
// stands around it: control characters, direction marks and bytes that are no
// UTF-8 become escapes such as \x1b and \u{202e}; a backslash is doubled.
[[nodiscard]] std::string SafeText(std::string_view text);

// A JSON text (RFC 8259) in valid UTF-8 with the same meaning, in which the same
// characters are written as \u and four digits.
[[nodiscard]] std::string SafeJson(std::string_view json);

// Columns that a text from SafeText takes on a terminal.
[[nodiscard]] std::size_t DisplayWidth(std::string_view safeText);

// A text from SafeText in at most so many columns, at least 3: the end of a longer
// one is replaced by "...". So is that of one of more than twice as many characters,
// since some of them take no column.
[[nodiscard]] std::string Shorten(const std::string &safeText, std::size_t columns);
