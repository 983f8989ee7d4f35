#pragma once

#include "simulation/link.h"
#include "simulation/virtual_time.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace simulation {

// Which machines a line of a scenario speaks of.
struct Choice
{
    enum class Kind : std::uint8_t { All, Range, Some, Killed };
    Kind kind = Kind::All;
    std::uint32_t first = 0; // Range: the numbers; Some: how many, drawn among those that are on
    std::uint32_t last = 0;
};

enum class Verb : std::uint8_t {
    Start,
    StartPublished, // with a publication that is there before the engine's thread
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
    Change, // something drawn
};

// One thing that happens.
struct Act
{
    Micros at = 0;
    Verb verb = Verb::Start;
    Choice machines;
    Micros length = 0;       // within which, or for how long
    std::uint32_t count = 0; // Change: how many
    std::string attack;      // Play: its name
};

// What must hold; 0 where a scenario does not ask for it.
struct Expectations
{
    Micros complete = 0; // a list is complete and right so long after the last change
    Micros listed = 0;   // the same, but a list may hold a device's former name
    Micros missing = 0;  // at most so long is a device missing that was listed and stayed
    Micros goodbye = 0;  // within this a goodbye has emptied every list
    Micros silent = 0;   // within this a silent departure has
    Micros announce = 0; // an own service is announced at least so often
    Micros quiet = 0;    // no document travels in the last so much time
    Micros memory = 0;   // the memory at the end is what it was at this time
};

struct Scenario
{
    std::string name;
    std::uint32_t devices = 0;
    LinkSettings link;
    bool ownSeeds = false;      // of random(): else the time in seconds, the same for all
    std::uint32_t time = 0;     // that time() gives at the beginning; 0 for one that is drawn
    std::uint32_t wrapping = 0; // how many machines' clocks wrap within the scenario
    bool largeBuffers = false;  // for receiving, as the package sets them
    bool speakersOnly = false;  // no ZR1, which announces itself and is listed by later searches
    Micros end = 0;
    std::vector<Act> acts;
    Expectations expects;
};

// Reads a scenario; line by line, one sentence each. On a sentence that has no
// meaning, error names it, and the result is of no use.
[[nodiscard]] Scenario ReadScenario(std::string_view name, std::string_view text,
                                    std::string &error);

} // namespace simulation
