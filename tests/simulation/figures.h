#pragma once

#include "simulation/datagram.h"
#include "simulation/virtual_time.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace simulation {

// What one virtual second brought.
struct SecondFigures
{
    std::array<std::uint32_t, kDatagramKinds> datagrams{}; // sent, by kind
    std::uint64_t bytes = 0;                               // of datagrams, without headers
    Micros busy = 0;                                       // of the medium, or of all wires
    std::uint64_t lost = 0;                                // on the way to a machine
    std::uint64_t noRoom = 0;                              // in a socket's buffer
    std::uint64_t wanted = 0;                              // pairs of a list and a device
    Micros processor = 0;                                  // of this program
    std::uint64_t right = 0;                               // that hold
};

// What a run gave.
struct Figures
{
    std::vector<SecondFigures> seconds;
    std::uint64_t askedAgain = 0;
    std::uint64_t relisted = 0;
    std::uint64_t lapses = 0;
    Micros longestLapse = 0;
};

// The figures as one JSON object.
[[nodiscard]] std::string ComposeFigures(const Figures &figures);

} // namespace simulation
