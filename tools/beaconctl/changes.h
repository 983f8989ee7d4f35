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

// The devices of both listings, in the order of their keys: those that are in
// one only came or went; those whose texts differ changed. A key that a listing
// has twice counts once, as it stands last.
[[nodiscard]] std::vector<ChangedEntry> Compare(const Entries &before, const Entries &after);

// The mark that shows a change: '+', '~', '-' or a blank.
[[nodiscard]] char Mark(Change change);
