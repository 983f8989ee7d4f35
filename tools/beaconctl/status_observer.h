#pragma once

#include "beaconctl/status_observations.h"

#include <chrono>

// Looks at this device from outside the daemon.
namespace beaconctl {

// Collects the observations. Each question waits for its answer at most the time-out. If a
// running daemon does not answer, asks again for up to 3 s: it may be starting. If the browse
// list is not what the daemon knows, or if the device is not announced, observes again for up
// to 15 s: the daemon needs that long to act on a change.
[[nodiscard]] Observations Observe(std::chrono::milliseconds timeout);

} // namespace beaconctl
