#pragma once

#include "beaconctl/entry.h"

#include <string>

// Reads a browse list, the JSON document that the daemon writes for the web
// interface, from a file. Returns false, with error set to one line that says
// what is wrong, when the file cannot be read, is larger than any list of the
// daemon's, or holds something else.
[[nodiscard]] bool ReadBrowseFile(const std::string &path, Entries &entries, std::string &error);

// The same from its text.
[[nodiscard]] bool ReadBrowseText(const std::string &text, Entries &entries, std::string &error);
