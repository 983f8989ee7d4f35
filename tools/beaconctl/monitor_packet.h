#pragma once

#include <netinet/in.h>
#include <optional>
#include <string_view>

// The datagrams that monitor receives. Pure functions.
namespace beaconctl {

// A datagram to or from the SSDP port.
struct Datagram
{
    in_addr from{};
    in_addr to{};
    std::string_view text; // a view into the receive buffer: the bytes that a daemon reads
    bool cut = false;      // the datagram is longer than its text
};

// A datagram with at most formats::kReceiveSize bytes of a text.
[[nodiscard]] Datagram MakeDatagram(const in_addr &from, const in_addr &to, std::string_view text);

// Reads a UDP datagram in an IPv4 packet (RFC 768, RFC 791). Nothing if the packet is
// anything else, if a length in it is wrong, or if it is a later fragment. The first fragment
// is a datagram that is cut. Checksums are not verified: those of sent packets may still be
// missing.
[[nodiscard]] std::optional<Datagram> ReadPacket(std::string_view packet);

} // namespace beaconctl
