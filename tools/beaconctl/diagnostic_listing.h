#pragma once

#include "beaconctl/entry.h"

#include <optional>
#include <string_view>

// A reply of the diagnostic channel.
struct Listing
{
    Entries entries;
    bool cut = false; // entries may be missing: the next one may not have fitted
};

// Reads the reply to "gh" (heading "HostList") or "gn" ("NodeList"): the heading,
// then for each service
//
//   "\n  ProductName:\"" name "\"\n  HostName:   \"" name
//   "\"\n  IP:         " address "\n  USN:        " USN "\n"
//
// Nothing is escaped, and a name, address or USN may hold any bytes, these labels
// included. The rule for reading is:
//
// 1. An entry begins after the heading and after every empty line followed by the
//    label ProductName. All true beginnings look so, and two such places cannot
//    overlap, so no text of one entry ever becomes part of another.
// 2. Within an entry, each label counts where it first stands after the label
//    before it. The field before a label that is missing reaches to the next label.
//    The last field ends before the line feed that ends the entry.
//
// So every entry is read as if it were alone, and at least once. It is read
// exactly if its names and address hold no line feed and its USN holds no place
// that rule 1 takes for a beginning. A text that imitates entries is read as
// several of them: no reader can tell them from several devices.
//
// Nothing when the reply has another heading or does not end as an entry ends.
[[nodiscard]] std::optional<Listing> ReadListing(std::string_view reply, std::string_view heading);
