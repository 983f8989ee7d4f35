#pragma once

#include "beaconctl/status_observations.h"

#include <string>
#include <vector>

// Decides from observations whether discovery works on a device. Pure functions; times are
// shown in the local time zone.
namespace beaconctl {

enum class Severity {
    Fine,
    Notice,  // works, but not in every case
    Unknown, // not visible for this user, or not checked because something else is missing
    Fault,
};

struct Finding
{
    std::string check; // for instance "interface"; no two findings of a report have the same
    Severity severity;
    std::string text;   // one line
    std::string advice; // one line: what to do; empty if there is nothing to do
};

enum class Health { Healthy, Degraded, NotRunning };

struct StatusReport
{
    Health health;
    std::vector<Finding> findings; // in the order in which to mend: causes first
};

[[nodiscard]] StatusReport Judge(const Observations &seen);

// Whether a user who may create files in a folder may also write this file there and replace it.
// Access control lists are not considered.
[[nodiscard]] bool MayReplace(const FileState &file, const FileState &folder, const Rights &user);

// Whether a user may create files in a folder.
[[nodiscard]] bool MayCreateIn(const FileState &folder, const Rights &user);

} // namespace beaconctl
