#pragma once

#include "ssdp/flood_limits.h"
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
    std::uint32_t delay{};     // milliseconds left to wait
    sockaddr_in destination{}; // IPv4
    in_addr_t holder{};        // the address that caused this datagram (OwnLink::HolderOf)
    std::uint64_t order = 0;   // position in the order of sending
    int ticksOverdue = 0;      // how many ticks it has waited for room in the send buffer
};

namespace ssdp {

// DelayedQueue keeps datagrams until their delay has passed, within a bound. Each
// datagram counts for its holder, the address that caused it. The queue is fair: when
// it is full, the address that holds most places loses its newest datagram to an
// address that holds fewer. The queue knows no clock and no socket. Not thread-safe;
// it belongs to the protocol core.
class DelayedQueue
{
public:
    // The bound counts places: a datagram takes one for every kBytesOfPlace bytes or
    // part of them. operation and contents name the queue in the line that reports a full
    // queue (see BoundReport). REQUIRES: the environment and both texts outlive this.
    DelayedQueue(SSDPEnvironment &environment, std::size_t maxPlaces, std::string_view operation,
                 std::string_view contents)
        : mEnvironment(environment), mMaxPlaces(maxPlaces), mReport(operation, contents)
    {
    }

    // Whether Add would keep a datagram of usual size that the address causes.
    [[nodiscard]] bool HasRoomFor(in_addr_t holder) const;
    // Reports that the queue is full, for a datagram that is not composed at all.
    void ReportFull() { mReport.NoteFull(mEnvironment); }

    // Adds a datagram, or drops it when the queue is full and no address holds more
    // places than this datagram's holder would.
    void Add(GETMessageType datagram);

    // Takes out the datagrams whose delay ends within elapsed milliseconds: first those that were
    // put back, then the others in the order in which they were added. Lowers the delay of all
    // that stay.
    [[nodiscard]] std::list<GETMessageType> TakeDue(std::uint32_t elapsedMs);

    // Takes back due datagrams that found no room in the send buffer. They are due
    // again at the next tick; after three ticks they are dropped. REQUIRES: they are
    // from the last TakeDue, and nothing was added since, so their places are free.
    void PutBack(std::list<GETMessageType> unsent);

    void Clear();

    [[nodiscard]] std::size_t Size() const;

private:
    struct Held
    {
        std::list<GETMessageType> datagrams; // oldest first
        std::size_t places = 0;
    };
    using Holder = std::map<in_addr_t, Held>::iterator;

    [[nodiscard]] std::size_t PlacesHeldBy(in_addr_t holder) const;
    [[nodiscard]] bool MakeRoom(const GETMessageType &datagram);
    void AddNewest(GETMessageType datagram);
    void AddOldest(GETMessageType datagram);
    void TakeNewest(Holder holder, std::list<GETMessageType> &to);
    void ChangePlaces(Holder holder, std::size_t gained, std::size_t lost);

    SSDPEnvironment &mEnvironment;
    const std::size_t mMaxPlaces;
    BoundReport mReport;
    std::map<in_addr_t, Held> mHolders;
    std::set<std::pair<std::size_t, in_addr_t>> mByPlaces; // places and their holder
    std::size_t mPlaces = 0;                               // of all holders
    // Datagrams that are put back get numbers below all others.
    static constexpr std::uint64_t kMiddle = std::uint64_t{1} << 63U;
    std::uint64_t mAdded = kMiddle;
    std::uint64_t mFirstOrder = kMiddle;
};

} // namespace ssdp
