#pragma once

#include "beaconctl/entry.h"

#include <vector>

// What happened to a device between two listings.
enum class Change { None, Came, Changed, Went };

struct ChangedEntry
{
    Entry entry;
    Change change;
};

// The devices of both listings in the order of their entries: those that are only in
// one came or went. An entry that came and one of the same USN that went are one
// that changed, with the later texts. Entries of the same USN count each by itself.
[[nodiscard]] std::vector<ChangedEntry> Compare(Entries before, Entries after);

// The mark that shows a change: '+', '~', '-' or a blank.
[[nodiscard]] char Mark(Change change);
