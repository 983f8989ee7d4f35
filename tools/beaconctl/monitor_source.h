#pragma once

#include "beaconctl/monitor_packet.h"

#include <array>
#include <optional>
#include <string>

namespace beaconctl {

// MonitorSource receives the SSDP traffic of the interface net0, or without one: multicast
// of the default route's interface, packets of every interface but the loopback.
//
// It takes no datagram away from another program of this host. A socket that is bound to the
// group's address receives no unicast, unlike one that is bound to the port alone: of those,
// only the last receives unicast. A packet socket receives copies.
class MonitorSource
{
public:
    MonitorSource() = default;
    ~MonitorSource();
    MonitorSource(const MonitorSource &) = delete;
    MonitorSource &operator=(const MonitorSource &) = delete;

    // Opens a packet socket if the system allows one, otherwise a socket on the group's
    // address; joins the group. False if that fails. REQUIRES: called once.
    [[nodiscard]] bool Open(std::string &error);

    // Whether it receives unicast, and also what this host sends: through a packet socket.
    [[nodiscard]] bool HasUnicast() const { return mPackets >= 0; }
    // The descriptor that is readable when something has arrived.
    [[nodiscard]] int Descriptor() const { return HasUnicast() ? mPackets : mGroup; }

    // Receives one datagram without waiting; nothing if none has arrived, or an invalid one.
    // It is valid until the next call. False if the system fails.
    [[nodiscard]] bool Receive(std::optional<Datagram> &datagram, std::string &error);

private:
    int mPackets = -1;                 // the packet socket
    int mGroup = -1;                   // the UDP socket that has joined the group
    std::array<char, 65536> mBuffer{}; // of the largest packet
};

} // namespace beaconctl
