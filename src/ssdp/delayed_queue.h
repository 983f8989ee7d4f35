#pragma once

#include "ssdp/bound_report.h"
#include "ssdp/ssdp_environment.h"

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <netinet/in.h>
#include <set>
#include <string>
#include <utility>

// One datagram that waits to be sent.
struct GETMessageType
{
    std::string message;       // the complete datagram
    std::uint32_t delay = 0;   // milliseconds still to wait
    sockaddr_in destination{}; // IPv4
    in_addr_t holder = 0;      // the address whose datagram caused this one
    std::uint64_t order = 0;   // place in the order of entering
    int ticksOverdue = 0;      // ticks it has waited for room in the send buffer
};

namespace ssdp {

// DelayedQueue holds datagrams until their delay has passed, within a bound. It is
// fair: when it is full, the address that holds most of it loses its newest
// datagram to one that holds less. It knows no clock and no socket. Not
// thread-safe; it belongs to the protocol core.
class DelayedQueue
{
public:
    // The bound counts places; a datagram takes one for each kBytesOfPlace bytes
    // or part of them. operation and what name the queue in the line that reports
    // a met bound. REQUIRES: the environment outlives this.
    DelayedQueue(SSDPEnvironment &environment, std::size_t maxPlaces, std::string_view operation,
                 std::string_view what)
        : mEnvironment(environment), mMaxPlaces(maxPlaces), mReport(operation, what)
    {
    }

    // Whether a datagram of usual size that the address caused would be taken in.
    [[nodiscard]] bool HasRoomFor(in_addr_t holder) const;
    // Reports that the queue is full, for a datagram that is not even composed.
    void ReportFull() { mReport.NoteFull(mEnvironment); }

    // Appends a datagram; drops it when the queue is full and its holder has
    // the most of it.
    void Add(GETMessageType datagram);

    // Lets elapsed milliseconds pass: returns the datagrams whose delay they cover,
    // in the order of entering, and lowers the delay of each other.
    [[nodiscard]] std::list<GETMessageType> TakeDue(std::uint32_t elapsedMs);

    // Takes back datagrams that were due and found no room in the send buffer:
    // they are due again at the next tick, for three ticks at most.
    void PutBack(std::list<GETMessageType> unsent);

    void Clear();

    [[nodiscard]] std::size_t Size() const;

private:
    struct Held
    {
        std::list<GETMessageType> datagrams; // in the order of entering
        std::size_t places = 0;
    };
    using Holder = std::map<in_addr_t, Held>::iterator;

    [[nodiscard]] std::size_t PlacesHeldBy(in_addr_t holder) const;
    [[nodiscard]] bool MakeRoom(const GETMessageType &datagram);
    void Enter(GETMessageType datagram);
    void TakeNewest(Holder holder, std::list<GETMessageType> &to);
    void ChangePlaces(Holder holder, std::size_t gained, std::size_t lost);

    SSDPEnvironment &mEnvironment;
    const std::size_t mMaxPlaces;
    BoundReport mReport;
    std::map<in_addr_t, Held> mHolders;
    std::set<std::pair<std::size_t, in_addr_t>> mByPlaces; // places held, and by whom
    std::size_t mPlaces = 0;                               // in all
    std::uint64_t mEntered = 0;                            // datagrams so far
};

} // namespace ssdp
