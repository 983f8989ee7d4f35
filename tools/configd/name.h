#pragma once

#include <string_view>

// The names of devices and of network interfaces. They travel on into headers,
// XML and lists.
namespace configd {

// The condition in words, as documents and errors give it.
constexpr const char *kNameRule =
    "1 to 63 bytes of UTF-8, without control characters (C0, C1, DEL) and without < > & \"";

// Whether a text meets it. Pure. REQUIRES: valid UTF-8.
[[nodiscard]] bool IsName(std::string_view text);

} // namespace configd
