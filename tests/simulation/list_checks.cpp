#include "simulation/list_checks.h"

#include "formats/ssdp_device_type.h"
#include "simulation/trace.h"

#include <algorithm>

namespace simulation {
namespace {

// An entry may expire because its device was disconnected or stalled. The device's next
// announcement makes the list's owner request its document, which brings the entry back. So the
// loss of an entry within this time after such a disturbance is not a lapse, and how long the
// entry is missing counts only from the end of this time.
constexpr Micros kSettlingTime = 40 * kSecond;

// A new name is the former one with an apostrophe at its end.
bool IsFormerName(const SSDPDeviceType &entry, const Machine &subject)
{
    return subject.HostName().compare(0, entry.hostName.size(), entry.hostName) == 0 &&
           subject.HostName().substr(entry.hostName.size()).find_first_not_of('\'') ==
               std::string::npos;
}

} // namespace

ListChecks::ListChecks(const Scenario &scenario, const Machines &machines, Violations &violations)
    : mScenario(scenario),
      mMachines(machines),
      mViolations(violations),
      mSettled(machines.size(), kNever),
      mHearing(machines.size()),
      mOpenedAt(machines.size(), kNever),
      mPublishedUsn(machines.size()),
      mWrongSince(machines.size() * machines.size(), 1),
      mKeepsName(machines.size() * machines.size(), false),
      mWrong(machines.size(), 0),
      mUnpublished(machines.size())
{
}

void ListChecks::Settle(std::uint32_t machine, Micros now)
{
    mSettled[machine] = now;
    for (std::uint32_t other = 0; other < mMachines.size(); ++other) {
        for (Micros *since : {&WrongSince(machine, other), &WrongSince(other, machine)}) {
            *since = *since == 0 ? 0 : now;
        }
    }
}

void ListChecks::NotePublished(const Machine &machine)
{
    std::string &usn = mPublishedUsn[machine.Number()];
    if (usn.empty()) {
        usn = machine.Usn();
        mDeparted.erase(usn);
        NoteReturned(usn);
        mPublishedChanged = true;
    }
}

void ListChecks::NoteGoodbye(const Machine &machine, const std::string &usn, Micros now)
{
    std::string &published = mPublishedUsn[machine.Number()];
    if (usn == published) {
        published.clear();
        const bool reached = IsSettled(machine.Number(), now);
        mDeparted[usn] = {now, reached, machine.Number()};
        for (std::uint32_t watcher = 0; watcher < mMachines.size(); ++watcher) {
            KeepName(watcher, machine.Number(), !reached || !IsSettled(watcher, now));
        }
        mPublishedChanged = true;
    }
}

void ListChecks::NoteGone(const Machine &machine, Micros now)
{
    NoteProxyGone(machine, now);
    std::string &published = mPublishedUsn[machine.Number()];
    if (!published.empty()) {
        mDeparted[published] = {now, false, machine.Number()};
        for (std::uint32_t watcher = 0; watcher < mMachines.size(); ++watcher) {
            KeepName(watcher, machine.Number(), true);
        }
        published.clear();
        mPublishedChanged = true;
    }
}

void ListChecks::NoteEmptied(const Machine &machine, Micros now)
{
    mOpenedAt[machine.Number()] = now;
    mAdded.erase(mAdded.lower_bound({machine.Number(), {}}),
                 mAdded.lower_bound({machine.Number() + 1, {}}));
    for (std::uint32_t subject = 0; subject < mMachines.size(); ++subject) {
        KeepName(machine.Number(), subject, false);
    }
}

// A machine that got another address also sends documents with its new USN, which do not count.
void ListChecks::NoteDocument(const Machine &receiver, const Datagram &document, Micros now)
{
    for (const auto &[usn, departure] : mDeparted) {
        if (departure.machine == document.from &&
            document.text.find("<UDN>" + usn + "</UDN>") != std::string::npos) {
            mLate[{receiver.Number(), usn}] = now;
            mRelisted += departure.goodbye ? 1 : 0;
            KeepName(receiver.Number(), document.from, true);
        }
    }
}

// A device that can be proxied may be missing from lists: only devices that send a search after
// its publication list it.
void ListChecks::CollectPublished()
{
    mPublished.clear();
    for (std::uint32_t number = 0; number < mMachines.size(); ++number) {
        const std::string &usn = mPublishedUsn[number];
        if (!usn.empty() && !formats::CanBeProxied(usn)) {
            mPublished.push_back({usn, number});
        }
    }
    std::sort(mPublished.begin(), mPublished.end(),
              [](const Published &a, const Published &b) { return a.usn < b.usn; });
}

void ListChecks::EverySecond(Micros now)
{
    const bool all = std::exchange(mPublishedChanged, false);
    if (all) {
        CollectPublished();
    }
    const bool unheard = std::any_of(mHearing.begin(), mHearing.end(), [](const Hearing &each) {
        return each.splitAt != kNever || each.stalledAt != kNever;
    });
    mWanted = 0;
    mRight = 0;
    for (std::uint32_t watcher = 0; watcher < mMachines.size(); ++watcher) {
        Machine &machine = *mMachines[watcher];
        if (!machine.IsOpen() || machine.IsLight()) {
            continue;
        }
        if (machine.TakeTouched() || all) {
            CompareList(watcher, now);
        }
        mWanted += mPublished.size();
        mRight += mPublished.size() - mWrong[watcher];
        if (mWrong[watcher] != 0) {
            CheckWrong(watcher, now);
        }
        if (!mUnpublished[watcher].empty()) {
            CheckUnpublished(watcher, now);
        }
        CheckOwn(watcher, now);
        CheckProxied(watcher, now);
        if (unheard) {
            CheckUnheard(watcher, now);
        }
    }
}

void ListChecks::CompareList(std::uint32_t watcher, Micros now)
{
    mWrong[watcher] = 0;
    mUnpublished[watcher].clear();
    auto wanted = mPublished.begin();
    for (const auto &[usn, entry] : mMachines[watcher]->Agent().NodeList()) {
        for (; wanted != mPublished.end() && wanted->usn < usn; ++wanted) {
            MarkWrong(watcher, wanted->machine, now);
        }
        if (wanted == mPublished.end() || wanted->usn != usn) {
            mUnpublished[watcher].push_back(usn);
            continue;
        }
        if (IsRight(entry, watcher, *mMachines[wanted->machine])) {
            MarkRight(watcher, wanted->machine, now);
        } else {
            MarkWrong(watcher, wanted->machine, now);
        }
        ++wanted;
    }
    for (; wanted != mPublished.end(); ++wanted) {
        MarkWrong(watcher, wanted->machine, now);
    }
}

bool ListChecks::IsRight(const SSDPDeviceType &entry, std::uint32_t watcher,
                         const Machine &subject) const
{
    const bool formerName = mScenario.expects.listed != 0 && IsFormerName(entry, subject);
    const bool named = entry.hostName == subject.HostName() || formerName ||
                       mKeepsName[watcher * mMachines.size() + subject.Number()];
    return named && entry.modelName == subject.Product() &&
           entry.ipAddress == TextOf(subject.Address()) && entry.instance == "0" &&
           !entry.modelNumber.empty() && !entry.modelDescription.empty();
}

void ListChecks::MarkRight(std::uint32_t watcher, std::uint32_t subject, Micros now)
{
    Micros &since = WrongSince(watcher, subject);
    if (since < 0) {
        mLongestLapse = std::max(mLongestLapse, LapseUntil(now, watcher, subject));
    }
    since = 0;
}

void ListChecks::MarkWrong(std::uint32_t watcher, std::uint32_t subject, Micros now)
{
    ++mWrong[watcher];
    Micros &since = WrongSince(watcher, subject);
    if (since != 0) {
        return;
    }
    const bool settled = IsSettled(watcher, now) && IsSettled(subject, now);
    mLapses += settled && SettledSince(watcher, subject) < now - kSettlingTime ? 1 : 0;
    since = settled ? -now : now;
}

Micros ListChecks::LapseUntil(Micros now, std::uint32_t watcher, std::uint32_t subject)
{
    const Micros settled = std::max(mSettled[watcher], mSettled[subject]) + kSettlingTime;
    return now - std::max({-WrongSince(watcher, subject), mSettledAll, settled});
}

bool ListChecks::IsSettled(std::uint32_t machine, Micros now) const
{
    return mSettled[machine] <= now;
}

Micros ListChecks::SettledSince(std::uint32_t watcher, std::uint32_t subject) const
{
    return std::max({mSettled[watcher], mSettled[subject], mSettledAll});
}

void ListChecks::CheckWrong(std::uint32_t watcher, Micros now)
{
    for (const Published &each : mPublished) {
        const std::uint32_t subject = each.machine;
        const Micros since = WrongSince(watcher, subject);
        if (since == 0 || !IsSettled(watcher, now) || !IsSettled(subject, now) ||
            (mIgnoresOwn && watcher == subject)) {
            continue;
        }
        const Expectations &expects = mScenario.expects;
        const Micros lapse = since < 0 ? LapseUntil(now, watcher, subject) : 0;
        const Micros waited = now - SettledSince(watcher, subject);
        if (CompleteAfter() != 0 && waited > CompleteAfter()) {
            mViolations.Add(now, {watcher, subject},
                            MachineText(watcher) + " does not list " + MachineText(subject) +
                                " correctly, " + TimeText(waited) + " after the last change");
        } else if (expects.missing != 0 && lapse > expects.missing) {
            mViolations.Add(now, {watcher, subject},
                            MachineText(watcher) + " has not listed " + MachineText(subject) +
                                " correctly for " + TimeText(lapse));
        }
        mLongestLapse = std::max(mLongestLapse, lapse);
    }
}

// A device lists itself as long as it announces itself, also if it can be proxied.
void ListChecks::CheckOwn(std::uint32_t watcher, Micros now)
{
    const std::string &usn = mPublishedUsn[watcher];
    if (!usn.empty() && !mIgnoresOwn && !Lists(watcher, usn)) {
        mViolations.Add(now, {watcher}, MachineText(watcher) + " does not list itself");
    }
}

} // namespace simulation
