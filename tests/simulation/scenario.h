#pragma once

#include "simulation/link.h"
#include "simulation/virtual_time.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace simulation {

// The machines that a line of a scenario names.
struct Choice
{
    enum class Kind : std::uint8_t { All, Range, Some, Killed };
    Kind kind = Kind::All;
    // Range: the numbers, from 1. Some: `first` is the number of machines. They are drawn among
    // those that are on; for Start and StartPublished, among those that are off.
    std::uint32_t first = 0;
    std::uint32_t last = 0;
};

enum class Verb : std::uint8_t {
    Start,
    StartPublished, // published before the engine's thread starts: takes effect at its start
    Kill,
    Rename,
    Move,
    SwitchOff,
    SwitchOn,
    LoseLink,
    Split,
    Stall,
    AddOther,
    Play,
    Change, // a random change
};

// One action of a scenario.
struct Act
{
    Micros at = 0;
    Verb verb = Verb::Start;
    Choice machines;
    Micros length = 0; // the duration
    // Change: the number of changes. AddOther: the machine that is added; 0 for one that does not
    // exist.
    std::uint32_t count = 0;
    std::string attack; // Play: the name of the attack
};

// The rules of a scenario; 0 for a rule that it does not contain.
struct Expectations
{
    Micros complete = 0; // the time after the last change until all lists are correct
    Micros listed = 0;   // the same, but a list may contain a former name of a device
    Micros missing = 0;  // the longest time for which an entry that was right is missing or wrong
    Micros goodbye = 0;  // the time until a goodbye has removed a device from all lists
    Micros silent = 0;   // the same for a device that leaves without a goodbye
    Micros announce = 0; // the longest time between two announcements of a device
    Micros quiet = 0;    // the time at the end in which no request and no document is sent
    // From this time to the end, the memory grows by at most 2 % and 12 kB for each device.
    Micros memory = 0;
};

struct Scenario
{
    std::string name;
    std::uint32_t devices = 0;
    LinkSettings link;
    bool ownSeeds = false;        // a device's seed of random() is the time and its own offset
    std::uint32_t time = 0;       // the result of time() at the start; 0: a random one
    std::uint32_t processors = 0; // that all machines share; 0: each has its own
    // The number of machines that are not light (see Machine): the last ones; 0: all.
    std::uint32_t whole = 0;
    std::uint32_t wrapping = 0; // the number of machines whose clocks wrap in the scenario
    bool largeBuffers = false;  // receive buffers of the size that the package sets
    bool withoutZR1 = false;    // no device is a ZR1
    Micros end = 0;
    std::vector<Act> acts;
    Expectations expects;
};

// Reads a scenario of one sentence in each line. If a sentence is invalid, sets error to a
// line that names it; the result is then not valid.
[[nodiscard]] Scenario ReadScenario(std::string_view name, std::string_view text,
                                    std::string &error);

} // namespace simulation
