#pragma once

#include "simulation/virtual_time.h"

#include <cstdint>
#include <queue>
#include <vector>

namespace simulation {

enum class EventKind : std::uint8_t {
    Second,    // a virtual second is over
    Act,       // a line of the scenario; number: its index
    Step,      // one machine's part of an act; number: a Step
    Wake,      // a machine's receive call times out; number: the run of its engine
    Batch,     // a machine's receive call returns datagrams; number: the run of its engine
    Multicast, // a datagram for all machines is delivered; number: its index in World::mInFlight
    Arrival,   // a datagram for one machine is delivered; number: its index, too
    Attack,    // the next turn of a stranger; number: the stranger's index
};

struct Event
{
    Micros at = 0;
    std::uint64_t order = 0; // events of the same time happen in the order of Add
    EventKind kind = EventKind::Second;
    std::uint32_t machine = 0;
    std::uint32_t number = 0;
};

// EventQueue returns events in the order of their times.
class EventQueue
{
public:
    void Add(Micros at, EventKind kind, std::uint32_t machine = 0, std::uint32_t number = 0)
    {
        mEvents.push({at, ++mAdded, kind, machine, number});
    }
    [[nodiscard]] bool Empty() const { return mEvents.empty(); }
    // REQUIRES: not Empty().
    [[nodiscard]] Event Take()
    {
        const Event event = mEvents.top();
        mEvents.pop();
        return event;
    }

private:
    struct Later
    {
        bool operator()(const Event &a, const Event &b) const
        {
            return a.at != b.at ? a.at > b.at : a.order > b.order;
        }
    };

    std::priority_queue<Event, std::vector<Event>, Later> mEvents;
    std::uint64_t mAdded = 0;
};

} // namespace simulation
