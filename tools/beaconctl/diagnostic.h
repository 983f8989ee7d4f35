#pragma once

#include "beaconctl/arguments.h"
#include "beaconctl/diagnostic_listing.h"

#include <string>

// Asks a device's diagnostic channel: "gn" for every service it knows, "gh" for
// those it announces. False, with error set to one line, when there is no answer
// in time, or one that is no listing.
[[nodiscard]] bool AskListing(const Arguments &arguments, const std::string &command,
                              Listing &listing, std::string &error);

// The address of the device that arguments name.
[[nodiscard]] std::string AskedHost(const Arguments &arguments);

// The line that reports a listing that was cut.
[[nodiscard]] std::string CutNotice(const Arguments &arguments);
