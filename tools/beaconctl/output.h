#pragma once

#include "beaconctl/changes.h"
#include "beaconctl/entry.h"
#include "beaconctl/search_answer.h"

#include <string>

// What beaconctl prints. Pure functions; tables and lines are safe for a terminal,
// with long texts cut. JSON (RFC 8259) holds the texts whole, with bytes that are
// not UTF-8 replaced, and is as safe.

// Exit statuses.
enum ExitStatus { kFound = 0, kNothingFound = 1, kUsage = 2, kFailed = 3 };

// Where entries come from: which of their members there are.
enum class Source { Listing, BrowseList };

[[nodiscard]] std::string EntriesTable(const Entries &entries, Source source);
// An array on one line. Objects of a listing that was cut have "listingCut": true.
[[nodiscard]] std::string EntriesJson(const Entries &entries, Source source, bool cut);

// A listing with the marks and colours of what changed.
[[nodiscard]] std::string ChangesTable(const std::vector<ChangedEntry> &changes, bool colours);
// A line for each entry: its mark and texts, or a JSON object with the member
// "change": "came", "changed", "went" or "present".
[[nodiscard]] std::string ChangesLines(const std::vector<ChangedEntry> &changes, bool json);
// The JSON line of a watch whose listings are cut from here on, or whole again.
[[nodiscard]] std::string CutJson(bool cut);

// One answer, as lines or as a JSON object on one line.
[[nodiscard]] std::string AnswerText(const SearchAnswer &answer, bool json);
