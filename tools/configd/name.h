#pragma once

#include <string_view>

// The names of devices and of network interfaces. They are copied into message headers,
// XML and JSON.
namespace configd {

// The rule for names, in the words of errors and documents.
constexpr const char *kNameRule =
    "1 to 63 bytes of UTF-8, without control characters (C0, C1, DEL) and without < > & \"";

// Whether a text meets the rule. Pure. REQUIRES: valid UTF-8.
[[nodiscard]] bool IsName(std::string_view text);

} // namespace configd
