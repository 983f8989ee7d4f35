#include "beaconctl/status_judgement.h"

#include "beaconctl/status_checks.h"

#include <algorithm>
#include <sys/stat.h>

namespace beaconctl {
namespace {

// The bits of a file's mode that apply to a user, moved to the place of the owner's bits.
unsigned int OwnerBits(const FileState &file, const Rights &user)
{
    if (file.owner.user == user.user) {
        return file.mode;
    }
    const bool inGroup = file.owner.group == user.group ||
                         std::count(user.groups.begin(), user.groups.end(), file.owner.group) != 0;
    return file.mode << (inGroup ? 3U : 6U);
}

} // namespace

bool MayCreateIn(const FileState &folder, const Rights &user)
{
    constexpr unsigned int kNeeded = S_IWUSR | S_IXUSR;
    return user.user == 0 || (OwnerBits(folder, user) & kNeeded) == kNeeded;
}

bool MayReplace(const FileState &file, const FileState &folder, const Rights &user)
{
    if (user.user == 0 || file.owner.user == user.user) {
        return true;
    }
    const bool sticky = (folder.mode & S_ISVTX) != 0 && folder.owner.user != user.user;
    return !sticky && (OwnerBits(file, user) & S_IWUSR) != 0;
}

StatusReport Judge(const Observations &seen)
{
    StatusReport report{Health::Healthy,
                        {JudgeDaemon(seen), JudgeInterface(seen), JudgeProduct(seen),
                         JudgeConfiguration(seen), JudgeEngine(seen), JudgePort(seen),
                         JudgeFolder("documents", seen.documents, seen.daemonRights),
                         JudgeFolder("lists", seen.lists, seen.daemonRights),
                         JudgeAnnouncement(seen), JudgeBrowseList(seen), JudgeDnssd(seen),
                         JudgeReceiveBuffer(seen), JudgeVersions(seen)}};
    if (!Runs(seen)) {
        report.health = Health::NotRunning;
    } else if (std::any_of(report.findings.begin(), report.findings.end(),
                           [](const Finding &each) { return each.severity == Severity::Fault; })) {
        report.health = Health::Degraded;
    }
    return report;
}

} // namespace beaconctl
