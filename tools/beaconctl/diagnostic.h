#pragma once

#include "beaconctl/arguments.h"
#include "beaconctl/entry.h"

#include <string>

// Asks a device's diagnostic channel: "gn" for every service it knows, "gh" for
// those it announces. False, with error set to one line, when there is no answer
// in time, or one that is no listing.
[[nodiscard]] bool AskListing(const Arguments &arguments, const std::string &command,
                              Entries &entries, std::string &error);
