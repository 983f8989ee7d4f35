#pragma once

#include "beaconctl/entry.h"

#include <optional>
#include <string_view>

// Reads the reply of the diagnostic channel to "gh" (heading "HostList") or "gn"
// ("NodeList"): the heading, then for each service
//
//   "\n  ProductName:\"" name "\"\n  HostName:   \"" name
//   "\"\n  IP:         " address "\n  USN:        " USN "\n"
//
// Nothing when it is no such listing. A daemon cuts a listing that one datagram
// cannot carry after a whole entry, so what there is, is whole.
[[nodiscard]] std::optional<Entries> ReadListing(std::string_view reply, std::string_view heading);
