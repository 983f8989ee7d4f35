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

// What a link does to datagrams.
struct LinkSettings
{
    bool shared = false; // one medium for all, as the air is; else one wire for each machine
    std::int64_t bitsPerSecond = 1'000'000'000;
    std::int64_t multicastBitsPerSecond = 1'000'000'000;
    Micros overhead = 0; // of each transmission: waiting for the medium, preamble, acknowledgement
    Micros delay = 50;
    Micros jitter = 100;
    Micros multicastWait =
        0; // an access point keeps multicast until its next beacon: at most so long
    std::int64_t multicastLossPerMillion = 0;
    std::int64_t unicastLossPerMillion = 0;
    std::int64_t meanBurst = 1; // datagrams lost in a row
    std::int64_t duplicatePerMillion = 0;
    std::int64_t reorderPerMillion = 0;
    Micros reorderDelay = 20 * kMillisecond; // at most
};

// The settings of a preset, or nothing: "wired" is a switch with ports of 1 Gbit/s;
// "wifi" an access point that sends unicast at 65 Mbit/s, multicast at 6 Mbit/s, and
// loses 1 % of the multicast, which is never acknowledged.
[[nodiscard]] std::optional<LinkSettings> LinkPreset(std::string_view name);

// Link says when a datagram arrives, if at all, and how busy the medium was. A sender's
// socket buffer is of the size that a process gets without privileges.
class Link
{
public:
    Link(const LinkSettings &settings, Chance &chance) : mSettings(settings), mChance(chance) {}

    [[nodiscard]] const LinkSettings &Settings() const { return mSettings; }

    // A datagram of so many bytes leaves a machine's socket. Its arrival, or nothing
    // when the socket's buffer has no room but for what it is to spare.
    [[nodiscard]] std::optional<Micros> Send(std::uint32_t machine, bool multicast,
                                             std::size_t bytes, Micros at, int sparedPercent);

    // A datagram that has arrived waits for the wire to a machine. When it is there.
    [[nodiscard]] Micros Descend(std::uint32_t machine, std::size_t bytes, Micros at);

    // Whether a datagram is lost on its way to a machine.
    [[nodiscard]] bool Loses(std::uint32_t machine, bool multicast);
    [[nodiscard]] bool Duplicates() { return mChance.Happens(mSettings.duplicatePerMillion); }
    // How much later than others a datagram arrives: 0 for most.
    [[nodiscard]] Micros Straggling();

    // How long the air has been in use, or all wires together.
    [[nodiscard]] Micros BusyTime() const { return mBusy; }

private:
    struct Port
    {
        Micros freeAt = 0;
        Micros receivingUntil = 0;
        std::deque<Micros> departures; // of what the socket's buffer holds
        bool losing = false;           // within a burst of losses
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
