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

// A behaviour of a stranger: traffic of other makers, or an attack.
struct Behaviour
{
    const char *name;
    Micros pause; // between two turns
    // The datagrams of one turn; turn counts from 0.
    std::vector<DatagramPointer> (*play)(Victims &victims, std::uint32_t turn);
    // Whether it may remove devices from lists or create wrong entries. The rules about missing
    // and wrong entries of published devices then apply only after its end.
    bool spoilsLists;
    // Whether its forged goodbyes remove devices from their own lists until their next
    // publication.
    bool forgesGoodbyes;
};

// Returns null if there is no behaviour of this name.
[[nodiscard]] const Behaviour *FindBehaviour(std::string_view name);
[[nodiscard]] const std::vector<Behaviour> &Behaviours();

} // namespace simulation
