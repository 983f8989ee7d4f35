#pragma once

#include "beaconctl/arguments.h"
#include "beaconctl/output.h"

// Shows a device's nodes and their changes: a table that is redrawn on a terminal;
// elsewhere a line for each node that is there at the beginning, then one for each
// change. SIGINT and SIGTERM end the program with the status of what was found. Returns
// only if the output cannot be written.
[[nodiscard]] ExitStatus RunWatch(const Arguments &arguments, bool terminal, bool colours);
