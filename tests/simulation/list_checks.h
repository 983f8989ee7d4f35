#pragma once

#include "simulation/machine.h"
#include "simulation/scenario.h"
#include "simulation/violation.h"
#include "simulation/virtual_time.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace simulation {

// ListChecks checks the list of every open machine at each virtual second, except for light
// machines, which keep none (see Machine). It compares a list with the published devices again
// only if one of the two may have changed.
class ListChecks
{
public:
    // A document that arrives after the goodbye of its device may list the device for 240 s.
    static constexpr Micros kDocumentLives = 250 * kSecond;

    using Machines = std::vector<std::unique_ptr<Machine>>;

    // REQUIRES: all arguments outlive this object.
    ListChecks(const Scenario &scenario, const Machines &machines, Violations &violations);

    // A machine is disconnected or stalled: its list is not checked, nor whether its entry in
    // other lists is right. But if the machine has left, its removal from other lists is checked.
    void Disturb(std::uint32_t machine) { mSettled[machine] = kNever; }
    // The same for a machine whose thread stalls until NoteResumed, or that is on the other side
    // of a split until NoteHealed. The lists of machines that cannot hear it must forget it.
    void NoteStalled(std::uint32_t machine, Micros now)
    {
        NoteUnheard(machine, now, &Hearing::stalledAt);
    }
    void NoteSplit(std::uint32_t machine, Micros now)
    {
        NoteUnheard(machine, now, &Hearing::splitAt);
    }
    void NoteResumed(std::uint32_t machine, Micros now)
    {
        NoteHeard(machine, now, &Hearing::stalledAt);
    }
    void NoteHealed(std::uint32_t machine, Micros now)
    {
        NoteHeard(machine, now, &Hearing::splitAt);
    }
    // The machine has just changed or is connected again: the time begins within which its list,
    // and the other lists about it, must become right.
    void Settle(std::uint32_t machine, Micros now);
    // A disturbance of all lists ends at this time, which may be in the future. From then on,
    // all lists have as much time to become right as after Settle.
    void SettleAll(Micros at) { mSettledAll = at; }
    // From now on no list is checked for its own device: a forged goodbye removes a service from
    // its own device's list until the next publication, and the scenario may contain none.
    void IgnoreOwn() { mIgnoresOwn = true; }
    // Until this time, or kAlways, a list may contain devices that do not exist.
    static constexpr Micros kAlways = std::numeric_limits<Micros>::max();
    void AcceptForged(Micros until) { mAcceptsForged = std::max(mAcceptsForged, until); }

    // A machine has announced its service, or sent a goodbye for it.
    void NotePublished(const Machine &machine);
    void NoteGoodbye(const Machine &machine, const std::string &usn, Micros now);
    // A machine adds another device, which it lists from now on.
    void NoteAdded(const Machine &machine, const std::string &usn)
    {
        mAdded.insert({machine.Number(), usn});
    }
    // A machine has announced another device, or sent a goodbye for it. The rules about proxied
    // devices assume that each has one proxy.
    void NoteProxied(const Machine &machine, const std::string &usn, Micros now);
    void NoteProxyGoodbye(const Machine &machine, const std::string &usn, Micros now);
    // The machine left without a goodbye.
    void NoteGone(const Machine &machine, Micros now);
    // The machine empties its list now: its engine opens or closes.
    void NoteEmptied(const Machine &machine, Micros now);
    void NoteDocument(const Machine &receiver, const Datagram &document, Micros now);

    void EverySecond(Micros now);

    // The number of entries that the lists of all open machines should have together, without the
    // lists of light machines, but with the entries about these; and how many of them are right.
    [[nodiscard]] std::uint64_t Wanted() const { return mWanted; }
    [[nodiscard]] std::uint64_t Right() const { return mRight; }
    // How often the right entry of a published device was lost or became wrong, although that
    // device and the machine with the list had been undisturbed for some time; and the longest
    // time until an entry that was lost was right again, without the time of a disturbance and
    // some time after it.
    [[nodiscard]] std::uint64_t Lapses() const { return mLapses; }
    [[nodiscard]] Micros LongestLapse() const { return mLongestLapse; }
    // How often a document arrived after the goodbye of its USN. Such a document may list the USN
    // again.
    [[nodiscard]] std::uint64_t Relisted() const { return mRelisted; }

private:
    static constexpr Micros kNever = std::numeric_limits<Micros>::max();

    struct Departure
    {
        Micros at = 0;
        bool goodbye = false;
        std::uint32_t machine = 0;
    };
    struct Published
    {
        std::string usn;
        std::uint32_t machine = 0;
    };
    struct Proxied
    {
        Micros since = 0;
        std::uint32_t machine = 0;
    };
    struct Hearing
    {
        Micros splitAt = kNever;
        Micros stalledAt = kNever;
        Micros backAt = 0; // the end of the last split or stall
    };

    void CollectPublished();
    void CompareList(std::uint32_t watcher, Micros now);
    void MarkRight(std::uint32_t watcher, std::uint32_t subject, Micros now);
    void MarkWrong(std::uint32_t watcher, std::uint32_t subject, Micros now);
    void CheckWrong(std::uint32_t watcher, Micros now);
    void CheckUnpublished(std::uint32_t watcher, Micros now);
    void CheckDeparted(std::uint32_t watcher, const std::string &usn, const Departure &departure,
                       Micros now);
    void CheckOwn(std::uint32_t watcher, Micros now);
    void CheckUnheard(std::uint32_t watcher, Micros now);
    void CheckProxied(std::uint32_t watcher, Micros now);
    void NoteUnheard(std::uint32_t machine, Micros now, Micros Hearing::*since);
    void NoteHeard(std::uint32_t machine, Micros now, Micros Hearing::*since);
    // The time since which a machine can hear nothing from another one; kNever if it can.
    [[nodiscard]] Micros UnheardSince(std::uint32_t watcher, std::uint32_t subject) const;
    [[nodiscard]] bool Lists(std::uint32_t watcher, const std::string &usn) const
    {
        return mMachines[watcher]->Agent().NodeList().count(usn) != 0;
    }
    [[nodiscard]] bool IsPublished(const std::string &usn) const;
    void NoteProxyGone(const Machine &machine, Micros now);
    void NoteReturned(const std::string &usn);
    // The time after the last change until all lists are complete; 0 if the scenario does not
    // require complete lists. Scenarios in which datagrams are lost do not.
    [[nodiscard]] Micros CompleteAfter() const
    {
        return std::max(mScenario.expects.complete, mScenario.expects.listed);
    }
    [[nodiscard]] bool IsWithoutLoss() const { return CompleteAfter() != 0; }
    [[nodiscard]] bool IsRight(const SSDPDeviceType &entry, std::uint32_t watcher,
                               const Machine &subject) const;
    void KeepName(std::uint32_t watcher, std::uint32_t subject, bool kept)
    {
        mKeepsName[watcher * mMachines.size() + subject] = kept;
    }
    // How long an entry has been wrong since it became wrong, or since the consequences of the last
    // disturbance should have ended, whichever is later; negative before. REQUIRES: WrongSince is
    // negative.
    [[nodiscard]] Micros LapseUntil(Micros now, std::uint32_t watcher, std::uint32_t subject);
    [[nodiscard]] bool IsSettled(std::uint32_t machine, Micros now) const;
    [[nodiscard]] Micros SettledSince(std::uint32_t watcher, std::uint32_t subject) const;
    // 0 while the entry is correct; otherwise the time since which it is wrong, or a later one at
    // which a machine settled. The time is negative if the entry was correct before and was lost
    // while both machines were undisturbed.
    [[nodiscard]] Micros &WrongSince(std::uint32_t watcher, std::uint32_t subject)
    {
        return mWrongSince[watcher * mMachines.size() + subject];
    }

    const Scenario &mScenario;
    const Machines &mMachines;
    Violations &mViolations;
    std::vector<Micros> mSettled; // by machine
    Micros mSettledAll = 0;
    bool mIgnoresOwn = false;
    Micros mAcceptsForged = 0;              // until then
    std::vector<Hearing> mHearing;          // by machine
    std::vector<Micros> mOpenedAt;          // by machine
    std::vector<std::string> mPublishedUsn; // by machine; empty while it is not published
    bool mPublishedChanged = false;
    std::vector<Published>
        mPublished; // in the order of the USNs; without devices that can be proxied
    std::map<std::string, Departure> mDeparted;
    std::map<std::string, Proxied> mProxied;                // by USN
    std::set<std::pair<std::uint32_t, std::string>> mAdded; // by machine
    // By machine and withdrawn USN: when the last document with this USN arrived.
    std::map<std::pair<std::uint32_t, std::string>, Micros> mLate;
    std::vector<Micros> mWrongSince;
    // Whether a watcher may list a device by a former name: it may have missed the device's last
    // goodbye, so it does not request the new document; or an old document has arrived since.
    std::vector<bool> mKeepsName;
    std::vector<std::uint32_t> mWrong;                  // the number of wrong entries, by watcher
    std::vector<std::vector<std::string>> mUnpublished; // by watcher: listed, not in mPublished
    std::uint64_t mWanted = 0;
    std::uint64_t mRight = 0;
    std::uint64_t mRelisted = 0;
    std::uint64_t mLapses = 0;
    Micros mLongestLapse = 0;
};

} // namespace simulation
