#pragma once

#include "beaconctl/status_observations.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

// The network interface and the UDP sockets of this device.
namespace beaconctl {

// The sockets in the text of /proc/net/udp that are bound to a port and to no multicast
// group. Lines that the kernel does not write are skipped. Pure function.
[[nodiscard]] std::vector<UdpSocket> ReadUdpTable(std::string_view table, std::uint16_t port);

// The receive buffer of a UDP socket in bytes, with the kernel's overhead; nothing if the
// kernel does not report it (it may be built without INET_UDP_DIAG).
[[nodiscard]] std::optional<std::uint32_t> ReceiveBufferOf(const UdpSocket &socket);

[[nodiscard]] Interface FindInterface(const std::string &name);

} // namespace beaconctl
