#pragma once

#include "beaconctl/arguments.h"
#include "beaconctl/output.h"

// Searches by SSDP and prints each answer as it comes. Says on standard error
// what went wrong.
[[nodiscard]] ExitStatus RunSearch(const Arguments &arguments);
