#pragma once

#include "beaconctl/status_observations.h"

#include <chrono>

// Looks at this device from outside the daemon.
namespace beaconctl {

// Collects the observations. Each question waits for its answer at most the time-out. If a
// daemon runs and net0 has one address, but no answer comes, asks again for up to 3 s: the daemon
// may be starting. If the browse list is not what the daemon knows, or if SSDP is on and the
// device is not announced, observes again for up to 15 s, unless the daemon's folders cannot be
// written: the daemon may need that long to act on a change.
[[nodiscard]] Observations Observe(std::chrono::milliseconds timeout);

} // namespace beaconctl
