#pragma once

#include "simulation/chance.h"
#include "simulation/datagram.h"
#include "simulation/machine.h"
#include "simulation/virtual_time.h"

#include <functional>
#include <string_view>
#include <vector>

namespace simulation {

// What a stranger needs to know to choose its datagrams.
struct Victims
{
    const std::vector<Machine *> &machines;
    Chance &chance;
};

// One way of a stranger to behave: other makers' traffic, or an attack.
struct Behaviour
{
    const char *name;
    Micros pause; // between two turns
    // The datagrams of one turn; turn counts from 0.
    std::vector<DatagramPointer> (*play)(Victims &victims, std::uint32_t turn);
    // Whether it may take devices off lists or put a wrong entry there: what must hold of
    // lists is asked again from its end on.
    bool spoilsLists;
    // Whether a forged goodbye has taken devices off their own lists until they are
    // published again.
    bool forgesGoodbyes;
};

// Null when no behaviour has the name.
[[nodiscard]] const Behaviour *FindBehaviour(std::string_view name);
[[nodiscard]] const std::vector<Behaviour> &Behaviours();

} // namespace simulation
