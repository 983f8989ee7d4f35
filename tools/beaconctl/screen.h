#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// What lets a terminal break lines at its width again. Each drawing ends with it.
constexpr std::string_view kWrapLines = "\x1b[?7h";

// What draws a head and a table over what a terminal shows. Rows that do not fit
// its height (0: not known) are told as a number, and lines are cut at its width:
// else each drawing would push the one before out of the top. A pure function.
[[nodiscard]] std::string ScreenText(const std::string &head, const std::string &table,
                                     std::size_t height);
