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

// Trace folds all that happens into one number: equal runs have equal traces, byte for
// byte. For the machines of a violation it keeps the last events as text.
class Trace
{
public:
    // Events of these machines are kept, up to a time.
    void Watch(std::set<std::uint32_t> machines, Micros until)
    {
        mWatched = std::move(machines);
        mUntil = until;
    }

    // what happens: a literal such as "sends"; machine: to which.
    void Note(Micros at, const char *what, std::uint32_t machine);
    // peer: the other machine, or kNoMachine when it is all of them, or a stranger.
    void Note(Micros at, const char *what, std::uint32_t machine, const Datagram &datagram,
              std::uint32_t peer);

    [[nodiscard]] std::uint64_t Hash() const { return mHash; }
    [[nodiscard]] const std::deque<std::string> &Last() const { return mLast; }

private:
    void Fold(std::uint64_t value);
    void Keep(Micros at, const char *what, std::uint32_t machine, const Datagram *datagram);

    std::uint64_t mHash = 0;
    std::set<std::uint32_t> mWatched;
    Micros mUntil = 0;
    std::deque<std::string> mLast;
};

[[nodiscard]] std::string TimeText(Micros time);
[[nodiscard]] std::string MachineText(std::uint32_t machine);

} // namespace simulation
