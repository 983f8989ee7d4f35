#pragma once

#include "simulation/chance.h"
#include "simulation/virtual_time.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string_view>
#include <vector>

namespace simulation {

// The properties of a link.
struct LinkSettings
{
    bool shared = false; // one medium for all machines (radio); else one wire for each
    std::int64_t bitsPerSecond = 1'000'000'000;
    std::int64_t multicastBitsPerSecond = 1'000'000'000;
    Micros overhead = 0; // for each transmission: waiting time, preamble, acknowledgement
    Micros delay = 50;
    Micros jitter = 100;
    // The longest time for which an access point delays multicast, until its next beacon.
    Micros multicastWait = 0;
    std::int64_t multicastLossPerMillion = 0;
    std::int64_t unicastLossPerMillion = 0;
    // Multicast datagrams lost in a row, on average. With 1, each is lost independently.
    std::int64_t meanBurst = 1;
    std::int64_t duplicatePerMillion = 0;
    std::int64_t reorderPerMillion = 0;
    Micros reorderDelay = 20 * kMillisecond; // at most
};

// The settings of a preset, or nothing: "wired" is a switch with ports of 1 Gbit/s;
// "wifi" an access point that sends unicast at 65 Mbit/s, multicast at 6 Mbit/s, and
// loses 1 % of the multicast, which is never acknowledged.
[[nodiscard]] std::optional<LinkSettings> LinkPreset(std::string_view name);

// Link calculates when a datagram arrives, whether it is lost, and how long the medium is in
// use. The send buffers have the size that the kernel gives each socket.
class Link
{
public:
    Link(const LinkSettings &settings, Chance &chance) : mSettings(settings), mChance(chance) {}

    [[nodiscard]] const LinkSettings &Settings() const { return mSettings; }

    // A machine sends a datagram of this size. Returns when it arrives at the switch, or, on a
    // shared medium, at the receivers; nothing if the socket's send buffer has no room besides
    // its reserved part.
    [[nodiscard]] std::optional<Micros> Send(std::uint32_t machine, bool multicast,
                                             std::size_t bytes, Micros at, int sparedPercent);

    // The time at which a datagram that is at the switch now arrives at a machine.
    [[nodiscard]] Micros ArrivalFromSwitch(std::uint32_t machine, std::size_t bytes, Micros at);

    // Whether a datagram is lost on its way to a machine.
    [[nodiscard]] bool Loses(std::uint32_t machine, bool multicast);
    [[nodiscard]] bool Duplicates() { return mChance.Happens(mSettings.duplicatePerMillion); }
    // The additional delay of a datagram that is overtaken by others; 0 for most.
    [[nodiscard]] Micros ReorderingDelay();

    // How long the shared medium is in use for all datagrams sent so far, also for those that are
    // still waiting; without one, the sum for all wires, each in the direction to the switch.
    [[nodiscard]] Micros BusyTime() const { return mBusy; }

private:
    struct Port
    {
        Micros freeAt = 0;
        Micros receivingUntil = 0;
        // Frames of a port stay in their order, but an access point holds multicast back.
        Micros lastArrival = 0;
        Micros lastMulticast = 0;
        std::deque<Micros> departures; // of the datagrams in the send buffer
        bool losing = false;           // in a burst of losses
    };

    [[nodiscard]] Port &PortOf(std::uint32_t machine);
    [[nodiscard]] Micros TransmissionTime(bool multicast, std::size_t bytes) const;

    const LinkSettings mSettings;
    Chance &mChance;
    std::vector<Port> mPorts;
    Micros mMediumFreeAt = 0;
    Micros mBusy = 0;
};

} // namespace simulation
