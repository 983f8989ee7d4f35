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

// Plays a scenario with a seed. If a rule is broken, plays the scenario a second time, to
// report the last hundred events of the machines of the first violation.
[[nodiscard]] Outcome PlayScenario(const Scenario &scenario, std::uint64_t seed,
                                   const Variation &variation);

} // namespace simulation
