#pragma once

#include "beaconctl/status_judgement.h"

#include <algorithm>
#include <gtest/gtest.h>

// The observations of a device on which everything is right.
namespace test {

constexpr std::time_t kNow = 1793152800; // 2026-10-28 02:00:00 UTC
constexpr mode_t kFolderMode = 041775;
constexpr unsigned int kDaemonUser = 101;
constexpr unsigned int kDaemonGroup = 102;

inline beaconctl::Folder HealthyFolder(const std::string &path)
{
    beaconctl::Folder folder;
    folder.state = {path, 0, {0, kDaemonGroup, {}}, kFolderMode};
    return folder;
}

inline beaconctl::Observations Healthy()
{
    using namespace beaconctl;
    Observations seen;
    seen.now = kNow;
    seen.version = "1.0.0";
    seen.daemonRights = Rights{kDaemonUser, kDaemonGroup, {}};
    seen.daemons = {{77, *seen.daemonRights, "beacond", kNow - 3600}};
    seen.product = {ProductID::Known::Found, "corvia12"};
    seen.interface = {true, true, true, {"192.0.2.10"}};
    seen.sockets = {{kDaemonUser, 4711, true}};
    seen.receiveBuffer = 4608000;
    const Entry own{"studio-a", "Corvia 12", "192.0.2.10", "uuid:a", "", ""};
    const Entry other{"studio-b", "Lumen", "192.0.2.11", "uuid:b", "", ""};
    seen.engine.announced = Listing{{own}, false};
    seen.engine.known = Listing{{own, other}, false};
    seen.configuration = {"", "studio-a", true, "Complete", true};
    seen.dnssd = {true, true, {"studio-a"}};
    seen.documents = HealthyFolder("/var/www/html");
    seen.lists = HealthyFolder("/var/www/discovery");
    seen.browseList = {"", false, 470, 2, kNow - 12, true};
    seen.packages = {{"beacond", "1.0.0"}, {"avahi-daemon", "0.8-10"}};
    return seen;
}

// The finding of a check.
inline beaconctl::Finding FindingOf(const beaconctl::Observations &seen, const std::string &check)
{
    const beaconctl::StatusReport report = Judge(seen);
    const auto found = std::find_if(
        report.findings.begin(), report.findings.end(),
        [&check](const beaconctl::Finding &finding) { return finding.check == check; });
    if (found == report.findings.end()) {
        ADD_FAILURE() << "no check " << check;
        return {};
    }
    return *found;
}

// The checks that found a fault, in the order of the report.
inline std::vector<std::string> Faults(const beaconctl::Observations &seen)
{
    std::vector<std::string> faults;
    for (const beaconctl::Finding &finding : Judge(seen).findings) {
        if (finding.severity == beaconctl::Severity::Fault) {
            faults.push_back(finding.check);
        }
    }
    return faults;
}

} // namespace test
