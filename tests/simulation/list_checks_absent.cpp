#include "simulation/list_checks.h"

#include "formats/ssdp_device_type.h"
#include "simulation/trace.h"

#include <algorithm>
#include <iterator>

// The rules about devices that do not announce themselves: those that have left, cannot be heard,
// are announced by proxy, or do not exist.

namespace simulation {
namespace {

// The additional lifetime of a device that can be proxied: its max-age is up to 129 s.
constexpr Micros kProxyableExtra = 18 * kSecond;

} // namespace

bool ListChecks::IsPublished(const std::string &usn) const
{
    return std::find(mPublishedUsn.begin(), mPublishedUsn.end(), usn) != mPublishedUsn.end();
}

// Does nothing if the device has returned: its proxy may announce it once more before it hears of
// that.
void ListChecks::NoteProxied(const Machine &machine, const std::string &usn, Micros now)
{
    if (!IsPublished(usn) && mProxied.emplace(usn, Proxied{now, machine.Number()}).second) {
        mDeparted.erase(usn);
    }
}

void ListChecks::NoteProxyGoodbye(const Machine &machine, const std::string &usn, Micros now)
{
    const bool reached = IsSettled(machine.Number(), now);
    mAdded.erase({machine.Number(), usn});
    const auto proxied = mProxied.find(usn);
    if (proxied != mProxied.end() && proxied->second.machine == machine.Number()) {
        mProxied.erase(proxied);
        mDeparted[usn] = {now, reached, machine.Number()};
    } else if (reached && IsPublished(usn) && IsWithoutLoss()) {
        mViolations.Add(now, {machine.Number()},
                        MachineText(machine.Number()) + " sends a goodbye for " + usn +
                            ", which announces itself");
    }
}

void ListChecks::NoteProxyGone(const Machine &machine, Micros now)
{
    for (auto each = mProxied.begin(); each != mProxied.end();) {
        const bool gone = each->second.machine == machine.Number();
        if (gone) {
            mDeparted[each->first] = {now, false, machine.Number()};
        }
        each = gone ? mProxied.erase(each) : std::next(each);
    }
}

// Its proxies list the device now because it announces itself, not because they added it.
void ListChecks::NoteReturned(const std::string &usn)
{
    mProxied.erase(usn);
    for (auto each = mAdded.begin(); each != mAdded.end();) {
        each = each->second == usn ? mAdded.erase(each) : std::next(each);
    }
}

void ListChecks::CheckUnpublished(std::uint32_t watcher, Micros now)
{
    if (!IsSettled(watcher, now)) {
        return;
    }
    for (const std::string &usn : mUnpublished[watcher]) {
        if (mAdded.count({watcher, usn}) != 0) {
            continue;
        }
        const auto departed = mDeparted.find(usn);
        if (departed != mDeparted.end()) {
            CheckDeparted(watcher, usn, departed->second, now);
        } else if (now > mAcceptsForged && mProxied.count(usn) == 0 && !IsPublished(usn)) {
            mViolations.Add(now, {watcher},
                            MachineText(watcher) + " lists " + usn + ", which does not exist");
        }
    }
}

// A goodbye counts only for machines that could receive it.
void ListChecks::CheckDeparted(std::uint32_t watcher, const std::string &usn,
                               const Departure &departure, Micros now)
{
    const bool goodbye = departure.goodbye && mSettled[watcher] < departure.at;
    const Micros allowed = goodbye ? mScenario.expects.goodbye : mScenario.expects.silent;
    Micros limit = departure.at + allowed + (formats::CanBeProxied(usn) ? kProxyableExtra : 0);
    if (const auto late = mLate.find({watcher, usn}); late != mLate.end()) {
        limit = std::max(limit, late->second + kDocumentLives);
    }
    if (allowed != 0 && now > limit) {
        mViolations.Add(now, {watcher, departure.machine},
                        MachineText(watcher) + " still lists " + usn + ", which left " +
                            (goodbye ? "with a goodbye " : "") + TimeText(now - departure.at) +
                            " ago");
    }
}

// A device that searches while another one is proxied lists it, if neither the device nor the
// proxy was disturbed afterwards.
void ListChecks::CheckProxied(std::uint32_t watcher, Micros now)
{
    const Micros opened = mOpenedAt[watcher];
    for (const auto &[usn, proxied] : mProxied) {
        const bool searched = proxied.since < opened && mSettled[watcher] <= opened &&
                              mSettled[proxied.machine] <= opened && mSettledAll <= opened;
        if (IsWithoutLoss() && searched && now - opened > CompleteAfter() && !Lists(watcher, usn)) {
            mViolations.Add(now, {watcher, proxied.machine},
                            MachineText(watcher) + " does not list " + usn + ", which " +
                                MachineText(proxied.machine) + " announces");
        }
    }
}

void ListChecks::NoteUnheard(std::uint32_t machine, Micros now, Micros Hearing::*since)
{
    Disturb(machine);
    mHearing[machine].*since = now;
}

void ListChecks::NoteHeard(std::uint32_t machine, Micros now, Micros Hearing::*since)
{
    mHearing[machine].*since = kNever;
    mHearing[machine].backAt = now;
}

Micros ListChecks::UnheardSince(std::uint32_t watcher, std::uint32_t subject) const
{
    const Hearing &own = mHearing[watcher];
    const Hearing &other = mHearing[subject];
    const bool apart = (own.splitAt == kNever) != (other.splitAt == kNever);
    const Micros since =
        std::min(apart ? std::min(own.splitAt, other.splitAt) : kNever, other.stalledAt);
    return since == kNever ? kNever : std::max({since, own.backAt, other.backAt});
}

// A machine that hears nothing from another one forgets it like one that left.
void ListChecks::CheckUnheard(std::uint32_t watcher, Micros now)
{
    const Micros silent = mScenario.expects.silent;
    if (silent == 0 || mHearing[watcher].stalledAt != kNever) {
        return;
    }
    for (std::uint32_t subject = 0; subject < mMachines.size(); ++subject) {
        const std::string &usn = mPublishedUsn[subject];
        const Micros since = UnheardSince(watcher, subject);
        const Micros allowed = silent + (formats::CanBeProxied(usn) ? kProxyableExtra : 0);
        if (!usn.empty() && since != kNever && now - since > allowed && Lists(watcher, usn)) {
            mViolations.Add(now, {watcher, subject},
                            MachineText(watcher) + " still lists " + MachineText(subject) +
                                ", from which it has heard nothing for " + TimeText(now - since));
        }
    }
}

} // namespace simulation
