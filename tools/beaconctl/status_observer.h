#pragma once

#include "beaconctl/status_observations.h"

#include <chrono>

// Looks at this device from outside the daemon.
namespace beaconctl {

// Collects the observations. Each question waits for its answer at most the time-out. If the
// browse list is not what the daemon knows, or if the device is not announced, observes
// again for up to 15 s: the daemon needs that long to act on a change.
[[nodiscard]] Observations Observe(std::chrono::milliseconds timeout);

} // namespace beaconctl
