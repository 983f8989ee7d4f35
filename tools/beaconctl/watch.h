#pragma once

#include "beaconctl/arguments.h"
#include "beaconctl/output.h"

// Shows a device's nodes and what becomes of them until Ctrl-C: a table that is
// redrawn on a terminal, a line for each change elsewhere.
[[nodiscard]] ExitStatus RunWatch(const Arguments &arguments, bool terminal, bool colours);
