#pragma once

#include "beaconctl/changes.h"
#include "beaconctl/entry.h"
#include "beaconctl/search_answer.h"

#include <string>

// What beaconctl prints. Pure functions; tables are safe for a terminal, JSON
// (RFC 8259) holds the texts whole, with bytes that are no UTF-8 replaced.

// Exit statuses.
enum ExitStatus { kFound = 0, kNothingFound = 1, kUsage = 2, kNoAnswer = 3 };

// The column that Entry::detail is shown in.
enum class Detail { Usn, Description };

[[nodiscard]] std::string EntriesTable(const Entries &entries, Detail detail, bool colours);
[[nodiscard]] std::string EntriesJson(const Entries &entries, Detail detail);

// A listing with the marks and colours of what changed.
[[nodiscard]] std::string ChangesTable(const std::vector<ChangedEntry> &changes, bool colours);
// A line for each change, none for what stayed.
[[nodiscard]] std::string ChangesLines(const std::vector<ChangedEntry> &changes, bool json);

// One answer, as lines or as a JSON object on one line.
[[nodiscard]] std::string AnswerText(const SearchAnswer &answer, bool json);
