#pragma once

#include <string>
#include <string_view>

// Unique service names, and what their text tells of a device. Pure functions.
namespace formats {

// "uuid:65746500-" product "-" address "-" instance, joined as they stand. The
// result is deliberately no canonical 8-4-4-4-12 UUID.
[[nodiscard]] std::string MakeUSN(std::string_view productName, std::string_view ipAddress,
                                  std::string_view instance);

// The predicates are plain searches anywhere in the text, case-sensitive.

// A device that cannot announce itself well: "ZR1".
[[nodiscard]] bool CanBeProxied(std::string_view text);
// A device that always speaks for itself: any peer of this system, or a newer
// product.
[[nodiscard]] bool IsNonProxiedDevice(std::string_view text);
// A device of the maker.
[[nodiscard]] bool IsVEXDevice(std::string_view text);

} // namespace formats
