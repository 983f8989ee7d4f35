#include "beaconctl/status_checks.h"

#include "ssdp/ssdp_tunables.h"
#include "vexbase/vex_text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

// The checks of folders, lists, announcements, avahi-daemon, the receive buffer and versions.
namespace beaconctl {
namespace {

using vexbase::Concat;

constexpr const char *kRepairFolder =
    "Owner root, group beacond, mode 1775: install -d -o root -g beacond -m 1775 ";

// The time within which the daemon announces the device after its start, and some seconds more.
constexpr std::time_t kStartSeconds = 15;

std::string AgeText(std::time_t seconds)
{
    constexpr std::time_t kMinute = 60;
    constexpr std::time_t kHour = 3600;
    constexpr std::time_t kDay = 86400;
    if (seconds < 0) {
        return "in the future"; // the clock was set back
    }
    const auto [unit, name] = seconds < kMinute ? std::pair(std::time_t{1}, " s ago")
                              : seconds < kHour ? std::pair(kMinute, " min ago")
                              : seconds < kDay  ? std::pair(kHour, " h ago")
                                                : std::pair(kDay, " days ago");
    return std::to_string(seconds / unit) + name;
}

// The first file that the daemon may not replace; empty if there is none.
std::string ForeignFile(const Folder &folder, const Rights &daemon)
{
    const auto file =
        std::find_if(folder.files.begin(), folder.files.end(), [&](const FileState &each) {
            return !MayReplace(each, folder.state, daemon);
        });
    return file == folder.files.end() ? std::string() : file->path;
}

} // namespace

Finding JudgeFolder(const std::string &check, const Folder &folder,
                    const std::optional<Rights> &daemon)
{
    const std::string &path = folder.state.path;
    const auto fault = [&check](std::string text, std::string advice) {
        return Finding{check, Severity::Fault, std::move(text), std::move(advice)};
    };
    const std::string repair = Concat({kRepairFolder, path, "; then restart beacond"});
    if (folder.state.error == ENOENT) {
        return fault(path + " is missing", repair);
    }
    if (folder.state.error != 0) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): a program of one thread
        return {check, Severity::Unknown, Concat({path, ": ", strerror(folder.state.error)}),
                "Run beaconctl status as root."};
    }
    if (folder.isReadOnly) {
        return fault(path + " is on a read-only file system",
                     "Mount it for writing; then restart beacond.");
    }
    if (folder.isFull) {
        return fault("the disk of " + path + " is full", "Make room on it.");
    }
    if (!daemon) {
        return {check, Severity::Unknown, path + " is there; beacond's user is not known", ""};
    }
    if (!MayCreateIn(folder.state, *daemon)) {
        return fault("beacond's user may not write " + path, repair);
    }
    const std::string foreign = ForeignFile(folder, *daemon);
    return foreign.empty()
               ? Finding{check, Severity::Fine, path + " is writable for beacond's user", ""}
               : fault(foreign + " belongs to another user: beacond cannot replace it",
                       "Remove the file; then restart beacond.");
}

Finding JudgeAnnouncement(const Observations &seen)
{
    constexpr const char *kCheck = "announcement";
    const auto &announced = seen.engine.announced;
    if (!Runs(seen) || !announced) {
        return {kCheck, Severity::Unknown, "not checked: the engine does not answer", ""};
    }
    if (announced->entries.empty() && seen.configuration.ssdpEnable == false) {
        return {kCheck, Severity::Fine, "none: SSDP is switched off", ""};
    }
    if (announced->entries.empty() && !seen.daemons.empty() &&
        seen.now - seen.daemons.front().since < kStartSeconds) {
        return {kCheck, Severity::Notice, "not announced yet: beacond has just started", ""};
    }
    if (announced->entries.empty()) {
        return {kCheck, Severity::Fault, "the device is not announced by SSDP",
                "Mend the faults above; then restart beacond."};
    }
    const std::vector<std::string> &addresses = seen.interface.addresses;
    const auto own =
        std::find_if(announced->entries.begin(), announced->entries.end(), [&](const Entry &entry) {
            return std::count(addresses.begin(), addresses.end(), entry.address) != 0;
        });
    if (own == announced->entries.end()) {
        return {kCheck, Severity::Fault,
                Concat({"beacond announces ", announced->entries.front().address,
                        ", which net0 does not have"}),
                "Restart beacond."};
    }
    return {kCheck, Severity::Fine,
            Concat({"\"", own->hostName, "\", ", own->product, ", ", own->address}), ""};
}

Finding JudgeBrowseList(const Observations &seen)
{
    constexpr const char *kCheck = "browse list";
    const BrowseList &list = seen.browseList;
    if (!Runs(seen)) {
        return {kCheck, Severity::Unknown,
                list.isMissing ? "none: beacond does not run" : "not checked: beacond does not run",
                ""};
    }
    if (!list.error.empty()) {
        return {kCheck, Severity::Fault, list.error,
                "Mend the folder of the lists above; then restart beacond."};
    }
    const std::string text =
        Concat({std::to_string(list.devices), " devices, ", std::to_string(list.size),
                " bytes, written ", AgeText(seen.now - list.written)});
    if (list.isCurrent == false) {
        return {kCheck, Severity::Fault, text + ": not what beacond knows, and not updated",
                "Mend the folder of the lists above; then restart beacond."};
    }
    if (list.devices >= ssdp::kMaxDiscoveredNodes) {
        return {kCheck, Severity::Notice, text + ": no more devices are listed",
                "Find out who announces so many: beaconctl browse"};
    }
    return {kCheck, Severity::Fine, text, ""};
}

Finding JudgeDnssd(const Observations &seen)
{
    constexpr const char *kCheck = "avahi-daemon";
    if (!seen.dnssd.services.empty()) {
        std::string text = "announces";
        for (const std::string &service : seen.dnssd.services) {
            vexbase::Append(text, {" \"", service, "\""});
        }
        return {kCheck, Severity::Fine, text, ""};
    }
    if (!seen.dnssd.avahiRuns) {
        return seen.seesProcesses
                   ? Finding{kCheck, Severity::Fault, "avahi-daemon does not run",
                             "Start it: systemctl start avahi-daemon, or avahi-daemon --daemonize. "
                             "Without it, beacond ends."}
                   : Finding{kCheck, Severity::Unknown,
                             "this user may not see the processes of others",
                             "Run beaconctl status as root."};
    }
    if (!seen.dnssd.asked || !Runs(seen)) {
        return {kCheck, Severity::Unknown,
                seen.dnssd.asked ? "runs; its services are not checked: beacond does not run"
                                 : "runs; its services are not checked: net0 has no address",
                ""};
    }
    return {kCheck, Severity::Fault, "runs, but does not announce this device",
            "Check that no other device has the same name, and that no firewall drops UDP port "
            "5353. Then restart avahi-daemon and beacond."};
}

Finding JudgeReceiveBuffer(const Observations &seen)
{
    constexpr const char *kCheck = "receive buffer";
    if (!seen.receiveBuffer) {
        return {kCheck, Severity::Unknown,
                !seen.engine.announced ? "not checked: the engine does not answer"
                : seen.daemons.empty() ? "not visible for this user"
                                       : "the kernel does not report it",
                ""};
    }
    const std::string wanted = std::to_string(ssdp::kReceiveBufferBytes);
    const std::string text =
        Concat({std::to_string(*seen.receiveBuffer), " bytes of ", wanted, " requested"});
    if (*seen.receiveBuffer < static_cast<std::uint32_t>(ssdp::kReceiveBufferBytes)) {
        return {kCheck, Severity::Notice, text + ": bursts on very large networks may be lost",
                Concat({"Raise the limit: sysctl net.core.rmem_max=", wanted,
                        "; then restart beacond."})};
    }
    return {kCheck, Severity::Fine, text, ""};
}

Finding JudgeVersions(const Observations &seen)
{
    constexpr const char *kCheck = "versions";
    std::string text = "beaconctl " + seen.version;
    bool differ = false;
    for (const Package &package : seen.packages) {
        vexbase::Append(text, {"; package ", package.name, " ", package.version});
        differ = differ || (package.name != "avahi-daemon" && package.version != seen.version);
    }
    if (seen.packages.empty()) {
        text += "; no package of beacond is installed";
    }
    if (differ) {
        return {kCheck, Severity::Notice, text, "Install the same version of all packages."};
    }
    return {kCheck, Severity::Fine, text, ""};
}

} // namespace beaconctl
