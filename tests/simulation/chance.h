#pragma once

#include <cstdint>

namespace simulation {

// Chance draws the random numbers of the simulated world (delays, losses, choices)
// from one seed (SplitMix64). It does not use the standard library's distributions, which
// give different numbers in different libraries.
class Chance
{
public:
    explicit Chance(std::uint64_t seed) : mState(seed) {}

    [[nodiscard]] std::uint64_t Draw()
    {
        mState += 0x9E3779B97F4A7C15U;
        std::uint64_t value = mState;
        value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9U;
        value = (value ^ (value >> 27U)) * 0x94D049BB133111EBU;
        return value ^ (value >> 31U);
    }

    // A number below the bound; 0 for the bound 0. The bias of the remainder is too small
    // to affect a simulation.
    [[nodiscard]] std::int64_t Below(std::int64_t bound)
    {
        return bound <= 0 ? 0
                          : static_cast<std::int64_t>(Draw() % static_cast<std::uint64_t>(bound));
    }

    [[nodiscard]] bool Happens(std::int64_t perMillion)
    {
        return perMillion > 0 && Below(1'000'000) < perMillion;
    }

private:
    std::uint64_t mState;
};

} // namespace simulation
