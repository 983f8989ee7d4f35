#pragma once

#include "beaconctl/status_judgement.h"

#include <optional>
#include <string>

// The single checks of a status report, in the order of the report. Pure functions.
namespace beaconctl {

// Whether a daemon runs on this device, as far as this user can see.
[[nodiscard]] bool Runs(const Observations &seen);

[[nodiscard]] Finding JudgeDaemon(const Observations &seen);
[[nodiscard]] Finding JudgeInterface(const Observations &seen);
[[nodiscard]] Finding JudgeProduct(const Observations &seen);
[[nodiscard]] Finding JudgeConfiguration(const Observations &seen);
// The engine: whether discovery runs on net0.
[[nodiscard]] Finding JudgeEngine(const Observations &seen);
// Other programs on the SSDP port.
[[nodiscard]] Finding JudgePort(const Observations &seen);
[[nodiscard]] Finding JudgeFolder(const std::string &check, const Folder &folder,
                                  const std::optional<Rights> &daemon);
[[nodiscard]] Finding JudgeAnnouncement(const Observations &seen);
[[nodiscard]] Finding JudgeBrowseList(const Observations &seen);
[[nodiscard]] Finding JudgeDnssd(const Observations &seen);
[[nodiscard]] Finding JudgeReceiveBuffer(const Observations &seen);
[[nodiscard]] Finding JudgeVersions(const Observations &seen);

} // namespace beaconctl
