#include "beaconctl/monitor_packet.h"

#include "formats/ssdp_protocol.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace beaconctl {
namespace {

// The headers: places and sizes in bytes.
constexpr std::size_t kTotalLength = 2;
constexpr std::size_t kFragment = 6;
constexpr std::size_t kProtocol = 9;
constexpr std::size_t kSource = 12;
constexpr std::size_t kDestination = 16;
constexpr std::size_t kLeastHeader = 20;
constexpr std::size_t kUdpLength = 4; // after the IPv4 header
constexpr std::size_t kUdpHeader = 8;

constexpr std::uint16_t kMoreFragments = 0x2000;
constexpr std::uint16_t kFragmentOffset = 0x1FFF;

std::uint8_t Byte(std::string_view packet, std::size_t place)
{
    return static_cast<std::uint8_t>(packet[place]);
}

std::uint16_t Number(std::string_view packet, std::size_t place)
{
    return static_cast<std::uint16_t>(Byte(packet, place) << 8U | Byte(packet, place + 1));
}

in_addr Address(std::string_view packet, std::size_t place)
{
    in_addr address{};
    std::memcpy(&address, packet.data() + place, sizeof address);
    return address;
}

// The size of the IPv4 header; 0 unless the packet has one and a UDP header after it.
std::size_t HeaderSize(std::string_view packet)
{
    if (packet.size() < kLeastHeader || Byte(packet, 0) >> 4U != 4) {
        return 0;
    }
    const std::size_t size = (Byte(packet, 0) & 0x0FU) * std::size_t{4};
    const std::size_t total = Number(packet, kTotalLength);
    const bool fits = size >= kLeastHeader && size + kUdpHeader <= total && total <= packet.size();
    return fits && Byte(packet, kProtocol) == IPPROTO_UDP ? size : 0;
}

} // namespace

Datagram MakeDatagram(const in_addr &from, const in_addr &to, std::string_view text)
{
    return {from, to, text.substr(0, formats::kReceiveSize), text.size() > formats::kReceiveSize};
}

std::optional<Datagram> ReadPacket(std::string_view packet)
{
    const std::size_t header = HeaderSize(packet);
    if (header == 0) {
        return std::nullopt;
    }
    const std::uint16_t fragment = Number(packet, kFragment);
    const std::size_t length = Number(packet, header + kUdpLength); // with the UDP header
    const std::size_t room = Number(packet, kTotalLength) - header;
    const bool first = (fragment & kMoreFragments) != 0;
    if ((fragment & kFragmentOffset) != 0 || length < kUdpHeader || (length > room && !first)) {
        return std::nullopt;
    }
    Datagram datagram =
        MakeDatagram(Address(packet, kSource), Address(packet, kDestination),
                     packet.substr(header + kUdpHeader, std::min(length, room) - kUdpHeader));
    datagram.cut = datagram.cut || length > room;
    return datagram;
}

} // namespace beaconctl
