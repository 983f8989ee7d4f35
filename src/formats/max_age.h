#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// max-age texts: decimal seconds, as CACHE-CONTROL carries them.
namespace formats {

// Reads the number behind a directive's "=", leading white space allowed, with
// the base told by its prefix ("0x" hexadecimal, "0" octal), as strtol does with
// base 0: what follows the digits is ignored, and no digits give 0. Seconds,
// cut to the range from -2^31 to the largest that the engine can hold.
[[nodiscard]] std::int32_t ReadMaxAgeDirective(std::string_view text);

// Reads a max-age text: decimal digits after optional white space and sign. Seconds,
// at most 1,073,741; 0 for a text without a number or with a negative one.
[[nodiscard]] std::uint32_t ReadMaximumAge(std::string_view text);

// Finds "max-age=" in a message and sets out to what follows up to the line's
// end (CR LF). If either mark is missing or nothing stands between them, an
// empty out becomes "120"; if a mark is missing and out holds text already, it
// is left alone.
void GetMaximumAgeString(std::string_view message, std::string &out);

} // namespace formats
