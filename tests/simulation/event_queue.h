#pragma once

#include "simulation/virtual_time.h"

#include <cstdint>
#include <queue>
#include <vector>

namespace simulation {

enum class EventKind : std::uint8_t {
    Second,    // a virtual second is over
    Act,       // a line of the scenario; number: its place
    Step,      // one machine's part of an act; number: a Step
    Wake,      // a machine's receive call times out; number: the run of its engine
    Multicast, // a datagram arrives at all machines; number: its place in the air
    Arrival,   // a datagram arrives at one machine; number: the same
    Attack,    // a stranger's next turn; number: which of those that play
};

struct Event
{
    Micros at = 0;
    std::uint64_t order = 0; // of entering: events of one time happen in this order
    EventKind kind = EventKind::Second;
    std::uint32_t machine = 0;
    std::uint32_t number = 0;
};

// EventQueue gives out events in the order of their times.
class EventQueue
{
public:
    void Add(Micros at, EventKind kind, std::uint32_t machine = 0, std::uint32_t number = 0)
    {
        mEvents.push({at, ++mEntered, kind, machine, number});
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
    std::uint64_t mEntered = 0;
};

} // namespace simulation
