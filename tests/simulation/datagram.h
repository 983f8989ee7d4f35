#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <netinet/in.h>
#include <string>
#include <string_view>

namespace simulation {

enum class DatagramKind : std::uint8_t {
    Alive,
    Goodbye,
    Search,
    SearchAnswer,
    Request, // for a description document
    Document,
    Other,
};
constexpr std::size_t kDatagramKinds = 7;

[[nodiscard]] DatagramKind KindOf(std::string_view text);
[[nodiscard]] const char *NameOf(DatagramKind kind);
// A hash of a text, calculated from eight bytes at a time. It does not depend on the byte
// order of the processor.
[[nodiscard]] std::uint64_t HashOf(std::string_view text);

constexpr std::uint32_t kNoMachine = 0xFFFFFFFF;

struct Datagram
{
    std::string text;
    sockaddr_in sender{};
    sockaddr_in destination{};
    bool multicast = false;
    DatagramKind kind = DatagramKind::Other;
    std::uint32_t from = kNoMachine; // kNoMachine for a stranger
    std::uint64_t hash = 0;          // of text and both addresses
};
using DatagramPointer = std::shared_ptr<const Datagram>;

[[nodiscard]] DatagramPointer MakeDatagram(std::string_view text, const sockaddr_in &sender,
                                           const sockaddr_in &destination, bool multicast,
                                           std::uint32_t from);

[[nodiscard]] sockaddr_in SocketAddress(in_addr_t address, std::uint16_t port);
[[nodiscard]] std::string TextOf(in_addr_t address);

// The link uses 198.18.0.0/15, which RFC 2544 reserves for benchmarks. The first addresses of
// devices are in its first half; a device that changes its address gets one in the second half.
constexpr std::uint32_t kLinkNetwork = 0xC6120000;
constexpr std::uint32_t kLinkMask = 0xFFFE0000;
constexpr std::uint32_t kMovedHalf = 0x00010000;
[[nodiscard]] bool IsOnLink(in_addr_t address);

} // namespace simulation
