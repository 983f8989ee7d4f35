#pragma once

#include <string>
#include <string_view>

// Texts of the network for terminals.

// A text in which nothing moves the cursor, colours, reverses or hides what
// stands around it: control characters, direction marks and bytes that are no
// UTF-8 become escapes such as \x1b and \u{202e}; a backslash is doubled.
[[nodiscard]] std::string SafeText(std::string_view text);

// Columns that a text from SafeText takes on a terminal.
[[nodiscard]] std::size_t DisplayWidth(std::string_view safeText);
