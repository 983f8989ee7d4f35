#pragma once

#include "beaconctl/status_observations.h"

#include <chrono>
#include <string>

// What the configuration service says.
namespace beaconctl {

// Reads the service's answers into the observations, like the daemon reads them: a member
// that is missing or has another type is not set. False, with the members unchanged, if the
// answer is not JSON of the right kind. Pure functions.
[[nodiscard]] bool ReadSystem(const std::string &json, Configuration &configuration);
[[nodiscard]] bool ReadDevices(const std::string &json, Configuration &configuration);

// Asks the service at 127.0.0.1:8080 and waits at most so long for all answers.
[[nodiscard]] Configuration AskConfiguration(std::chrono::milliseconds timeout);

} // namespace beaconctl
