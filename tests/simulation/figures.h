#pragma once

#include "simulation/datagram.h"
#include "simulation/virtual_time.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace simulation {

// The figures of one virtual second.
struct SecondFigures
{
    std::array<std::uint32_t, kDatagramKinds> datagrams{}; // sent to others, by kind
    std::uint64_t bytes = 0;                               // of datagrams, without headers
    Micros busy = 0;           // the medium's time for the datagrams: see Link::BusyTime
    std::uint64_t lost = 0;    // datagrams lost on the link
    std::uint64_t dropped = 0; // by full receive buffers
    std::uint64_t wanted = 0;  // entries that the lists should have
    std::uint64_t right = 0;   // of these, the entries that are right
    Micros processor = 0;      // the processor time of the simulating thread
};

// The figures of a run.
struct Figures
{
    std::vector<SecondFigures> seconds;
    std::uint64_t askedAgain = 0; // see TrafficChecks
    std::uint64_t relisted = 0;   // this and the next two: see ListChecks
    std::uint64_t lapses = 0;
    Micros longestLapse = 0;
};

// The figures as one JSON object.
[[nodiscard]] std::string ComposeFigures(const Figures &figures);

} // namespace simulation
