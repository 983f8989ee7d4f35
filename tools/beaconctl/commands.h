#pragma once

#include "beaconctl/arguments.h"

// beaconctl's commands. An operation of this folder with the parameter `error` returns false if
// it fails, with error set to one line for the user. Only main() and the commands write to the
// standard streams.
namespace beaconctl {

enum ExitStatus { kFound = 0, kNothingFound = 1, kInvalidUsage = 2, kFailed = 3 };

// Runs the command that the arguments name.
[[nodiscard]] ExitStatus RunCommand(Arguments arguments);

// Shows whether discovery works on this device. The status is kFound if it does,
// kNothingFound if not, and kFailed if no daemon runs or the output cannot be written.
[[nodiscard]] ExitStatus RunStatus(const Arguments &arguments);

// Shows a device's nodes and their changes: a table that is redrawn on a terminal;
// otherwise a line for each node at the beginning, then one for each change. SIGINT and
// SIGTERM end the program: with kFound if any listing had a node, kNothingFound if all
// listings were empty, kFailed if no listing arrived. Returns only if the output cannot be
// written.
[[nodiscard]] ExitStatus RunWatch(const Arguments &arguments, bool terminal, bool colours);

} // namespace beaconctl
