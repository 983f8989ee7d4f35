#pragma once

#include <cstdint>

namespace simulation {

// Virtual time: microseconds since the simulation began.
using Micros = std::int64_t;

constexpr Micros kMillisecond = 1000;
constexpr Micros kSecond = 1000 * kMillisecond;

constexpr double SecondsOf(Micros time)
{
    return static_cast<double>(time) / static_cast<double>(kSecond);
}

} // namespace simulation
