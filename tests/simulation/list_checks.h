#pragma once

#include "simulation/machine.h"
#include "simulation/scenario.h"
#include "simulation/violation.h"
#include "simulation/virtual_time.h"

#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace simulation {

// ListChecks compares every machine's list with what is really published: at each
// virtual second, and only where something has changed.
class ListChecks
{
public:
    using Machines = std::vector<std::unique_ptr<Machine>>;

    // REQUIRES: all outlive this.
    ListChecks(const Scenario &scenario, const Machines &machines, Violations &violations);

    // A machine begins to be cut off from others, or held up: nothing is asked of it.
    void Disturb(std::uint32_t machine) { mSettled[machine] = kNever; }
    // It has just changed, or can be reached again: the prescribed waits begin.
    void Settle(std::uint32_t machine, Micros now);
    // What spoils all lists ends: the waits begin for everybody.
    void SettleAll(Micros now) { mSettledAll = now; }
    // A forged goodbye has taken services off their own lists until they are published.
    void ForgetOwn() { mOwnMayBeMissing = true; }

    // An own service was announced, or its goodbye said.
    void NotePublished(const Machine &machine);
    void NoteGoodbye(const Machine &machine, const std::string &usn, Micros now);
    // It went without a goodbye.
    void NoteGone(const Machine &machine, Micros now);
    // Its own list is empty.
    void NoteEmptied(const Machine &machine);
    void NoteDocument(const Machine &receiver, std::uint32_t from, Micros now);

    void EverySecond(Micros now);

    // All pairs of a list and a device that it should hold; how many of them hold.
    [[nodiscard]] std::uint64_t Wanted() const { return mWanted; }
    [[nodiscard]] std::uint64_t Right() const { return mRight; }
    // How often a device that stayed was missing from a list, and for how long at most.
    [[nodiscard]] std::uint64_t Lapses() const { return mLapses; }
    [[nodiscard]] Micros LongestLapse() const { return mLongestLapse; }
    // How often a document that was under way listed a device after its goodbye.
    [[nodiscard]] std::uint64_t Relisted() const { return mLate.size(); }

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

    void CollectPublished();
    void Walk(std::uint32_t watcher, Micros now);
    void MarkRight(std::uint32_t watcher, std::uint32_t subject, Micros now);
    void MarkWrong(std::uint32_t watcher, std::uint32_t subject, Micros now);
    void CheckWrong(std::uint32_t watcher, Micros now);
    void CheckGhosts(std::uint32_t watcher, Micros now);
    [[nodiscard]] bool IsRight(const SSDPDeviceType &entry, std::uint32_t watcher,
                               const Machine &subject) const;
    void KeepName(std::uint32_t watcher, std::uint32_t subject, bool kept)
    {
        mKeepsName[watcher * mMachines.size() + subject] = kept;
    }
    [[nodiscard]] bool IsSettled(std::uint32_t machine, Micros now) const;
    [[nodiscard]] Micros SettledSince(std::uint32_t watcher, std::uint32_t subject) const;
    // 0 while the entry is right; else since when it is not, below 0 if it was before.
    [[nodiscard]] Micros &WrongSince(std::uint32_t watcher, std::uint32_t subject)
    {
        return mWrongSince[watcher * mMachines.size() + subject];
    }

    const Scenario &mScenario;
    const Machines &mMachines;
    Violations &mViolations;
    std::vector<Micros> mSettled; // by machine
    Micros mSettledAll = 0;
    bool mOwnMayBeMissing = false;
    std::vector<std::string> mPublishedUsn; // by machine; empty while it is not published
    bool mPublishedChanged = false;
    std::vector<Published>
        mPublished; // in the order of the USN; without those that need not be listed
    std::map<std::string, Departure> mDeparted;
    std::map<std::pair<std::uint32_t, std::string>, Micros> mLate; // documents after a goodbye
    std::vector<Micros> mWrongSince;
    // Whether a watcher may list a device under an earlier name: it has not received a goodbye
    // since, and asks nobody for a document that it has.
    std::vector<bool> mKeepsName;
    std::vector<std::uint32_t> mWrong; // how many, by watcher
    std::vector<std::vector<std::string>> mGhosts;
    std::uint64_t mWanted = 0;
    std::uint64_t mRight = 0;
    std::uint64_t mLapses = 0;
    Micros mLongestLapse = 0;
};

} // namespace simulation
