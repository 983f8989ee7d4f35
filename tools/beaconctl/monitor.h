#pragma once

#include "beaconctl/commands.h"

namespace beaconctl {

// Shows the SSDP traffic of the link, a line for each datagram that the arguments select.
// SIGINT and SIGTERM end the program, with status kFound if any datagram was shown, otherwise
// kNothingFound. Returns only if the system fails or the output cannot be written.
[[nodiscard]] ExitStatus RunMonitor(const Arguments &arguments);

} // namespace beaconctl
