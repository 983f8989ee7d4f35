#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// max-age texts: decimal seconds, as CACHE-CONTROL carries them.
namespace ssdp {

// Reads the number behind a directive's "=", leading white space allowed, with
// the base told by its prefix ("0x" hexadecimal, "0" octal), as strtol does with
// base 0: what follows the digits is ignored, and no digits give 0. Seconds,
// cut to the range from -2^31 to the largest that the engine can hold.
[[nodiscard]] std::int32_t ReadMaxAgeDirective(std::string_view text);

// The milliseconds of a max-age text, read as decimal digits after optional
// white space. A text without a number, or with one below 120, is first replaced
// by 120 to 129 seconds, drawn with random(), so that devices without a useful
// max-age do not expire in step. At most 1,073,741,000, whatever the text says.
[[nodiscard]] std::uint32_t GetMaximumAge(std::string &text);

// Finds "max-age=" in a message and sets out to what follows up to the line's
// end (CR LF). If either mark is missing or nothing stands between them, an
// empty out becomes "120"; if a mark is missing and out holds text already, it
// is left alone.
void GetMaximumAgeString(std::string_view message, std::string &out);

} // namespace ssdp
