#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Bytes of the longest instance name that instanceName() gives.
constexpr std::size_t kInstanceNameMax = 255;

// The DNS-SD instance name of a device: its host name with everything but ASCII
// letters, digits and "-" dropped, and what stands before the first letter
// dropped as well, cut to kInstanceNameMax bytes. A host name of which nothing
// is left gives "vex-", the product name, "-" and the serial number, cut
// likewise. Any bytes may come in; the locale plays no part. DNS takes no more
// than 63 bytes in one label: Avahi refuses longer names.
[[nodiscard]] std::string instanceName(std::string_view hostName, std::string_view productName,
                                       std::string_view serial);
