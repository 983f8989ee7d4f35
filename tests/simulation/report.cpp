#include "simulation/report.h"

namespace simulation {
namespace {

std::string ReportOf(const Scenario &scenario, std::uint64_t seed, const Variation &variation,
                     const Violations &found)
{
    const Violation &first = found.First().front();
    World again(scenario, seed, variation);
    again.Watch(first.machines, first.at);
    again.Run();
    std::string text = scenario.name + ", seed " + std::to_string(seed) + ": " +
                       std::to_string(found.Count()) + " violations, the first ones:\n";
    for (const Violation &each : found.First()) {
        text += "  " + TimeText(each.at) + "  " + each.text + "\n";
    }
    text += "The last events of the machines of the first violation:\n";
    for (const std::string &event : again.Events().Last()) {
        text += "  " + event + "\n";
    }
    return text;
}

} // namespace

Outcome PlayScenario(const Scenario &scenario, std::uint64_t seed, const Variation &variation)
{
    Outcome outcome;
    World world(scenario, seed, variation);
    world.Run();
    outcome.trace = world.Events().Hash();
    outcome.violations = world.BrokenRules().Count();
    outcome.figures = world.Result();
    if (outcome.violations != 0) {
        outcome.report = ReportOf(scenario, seed, variation, world.BrokenRules());
    }
    return outcome;
}

} // namespace simulation
