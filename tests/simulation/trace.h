#pragma once

#include "simulation/datagram.h"
#include "simulation/virtual_time.h"

#include <cstdint>
#include <deque>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace simulation {

// Trace combines all events into one hash: equal runs have equal hashes. For the machines of
// a broken rule it keeps the last events as text.
class Trace
{
public:
    // Keeps the events of these machines until a time: of two or more, only those that concern
    // no other machine. Of none, keeps the events of all.
    void Watch(std::set<std::uint32_t> machines, Micros until)
    {
        mWatched = std::move(machines);
        mUntil = until;
    }

    // Notes an event. `what` is a literal that names it, such as "sends".
    void Note(Micros at, const char *what, std::uint32_t machine);
    // The same for an event of a datagram. `peer` is the other machine; kNoMachine if it is all
    // machines, and for the datagrams of a stranger.
    void Note(Micros at, const char *what, std::uint32_t machine, const Datagram &datagram,
              std::uint32_t peer);

    [[nodiscard]] std::uint64_t Hash() const { return mHash; }
    [[nodiscard]] const std::deque<std::string> &Last() const { return mLast; }

private:
    void Fold(std::uint64_t value);
    [[nodiscard]] bool IsWatched(std::uint32_t machine) const
    {
        return mWatched.empty() || mWatched.count(machine) != 0;
    }
    void Keep(Micros at, const char *what, std::uint32_t machine, const Datagram *datagram);

    std::uint64_t mHash = 0;
    std::set<std::uint32_t> mWatched;
    Micros mUntil = 0;
    std::deque<std::string> mLast;
};

[[nodiscard]] std::string TimeText(Micros time);
[[nodiscard]] std::string MachineText(std::uint32_t machine);

} // namespace simulation
