#pragma once

#include "simulation/chance.h"
#include "simulation/datagram.h"
#include "simulation/machine.h"
#include "simulation/virtual_time.h"

#include <functional>
#include <string_view>
#include <vector>

namespace simulation {

// The information from which a stranger chooses its datagrams.
struct Victims
{
    const std::vector<Machine *> &machines;
    Chance &chance;
};

// What a behaviour may do to lists.
enum Effect : unsigned {
    kNoEffect = 0,
    // It removes devices from lists or creates wrong entries. The rules about missing and wrong
    // entries of published devices apply only after its end.
    kSpoilsLists = 1,
    // Its goodbyes remove devices from their own lists until their next publication.
    kForgesGoodbyes = 2,
    // Lists contain devices that do not exist; after the end, as long as a document lives.
    kForgesDevices = 4,
    // Lists contain devices that do not exist, for days.
    kForgesLastingDevices = 8,
};

// A behaviour of a stranger: traffic of other makers, or an attack.
struct Behaviour
{
    const char *name;
    Micros pause; // between two turns
    // The datagrams of one turn; turn counts from 0.
    std::vector<DatagramPointer> (*play)(Victims &victims, std::uint32_t turn);
    unsigned effects; // several of Effect
};

// Returns null if there is no behaviour of this name.
[[nodiscard]] const Behaviour *FindBehaviour(std::string_view name);
[[nodiscard]] const std::vector<Behaviour> &Behaviours();

} // namespace simulation
