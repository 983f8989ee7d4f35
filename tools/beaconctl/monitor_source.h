#pragma once

#include "beaconctl/monitor_packet.h"

#include <array>
#include <optional>
#include <string>

namespace beaconctl {

// MonitorSource receives the SSDP traffic of the interface net0, through a packet socket or, if
// the system refuses that, through a UDP socket. If there is no net0, the packet socket receives
// the packets of every interface except the loopback, and the UDP socket the multicast of the
// default route's interface. The UDP socket also receives the multicast of interfaces on which
// another program has joined the group (IP_MULTICAST_ALL in ip(7)).
//
// It takes no datagram away from another program of this host. Of several sockets that are
// bound to the port alone, only the last receives unicast; so the UDP socket is bound to the
// group's address, and receives no unicast. A packet socket receives copies.
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

    // Whether it also receives unicast, from and to this host. Only a packet socket does.
    [[nodiscard]] bool HasUnicast() const { return mPackets >= 0; }
    // The descriptor that is readable when something has arrived.
    [[nodiscard]] int Descriptor() const { return HasUnicast() ? mPackets : mGroup; }

    // Receives one datagram without waiting; nothing if none has arrived, or if the packet is
    // invalid. The datagram may be used until the next call. False if the system fails.
    [[nodiscard]] bool Receive(std::optional<Datagram> &datagram, std::string &error);

private:
    int mPackets = -1;                 // the packet socket
    int mGroup = -1;                   // the UDP socket that has joined the group
    std::array<char, 65536> mBuffer{}; // holds the largest packet
};

} // namespace beaconctl
