#pragma once

#include "simulation/scenario.h"
#include "simulation/world.h"

#include <cstdint>
#include <string>

namespace simulation {

// The result of one run of a scenario.
struct Outcome
{
    std::uint64_t trace = 0;
    std::uint64_t violations = 0;
    std::string report; // of the violations; empty without any
    Figures figures;
};

// Plays a scenario with a seed. After a violation it plays it once more, to report the
// last hundred events of the machines that the first violation is about.
[[nodiscard]] Outcome PlayScenario(const Scenario &scenario, std::uint64_t seed,
                                   const Variation &variation);

} // namespace simulation
