#pragma once

#include "beaconctl/status_judgement.h"

#include <string>

// The output of `beaconctl status`. Pure functions; the results are safe for a terminal.
namespace beaconctl {

// One screen: a heading, then for each finding a line and, if there is one, the advice.
[[nodiscard]] std::string StatusText(const StatusReport &report);

// A JSON object on one line: "status" and the array "checks".
[[nodiscard]] std::string StatusJson(const StatusReport &report);

} // namespace beaconctl
