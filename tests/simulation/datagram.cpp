#include "simulation/datagram.h"

#include <arpa/inet.h>
#include <array>

namespace simulation {
namespace {

bool Begins(std::string_view text, std::string_view beginning)
{
    return text.substr(0, beginning.size()) == beginning;
}

std::uint64_t Mixed(std::uint64_t hash, std::uint64_t value)
{
    hash = (hash ^ value) * 0xFF51AFD7ED558CCDU;
    return hash ^ (hash >> 32U);
}

} // namespace

DatagramKind KindOf(std::string_view text)
{
    if (Begins(text, "NOTIFY")) {
        return text.find("ssdp:byebye") != std::string_view::npos ? DatagramKind::Goodbye
                                                                  : DatagramKind::Alive;
    }
    if (Begins(text, "HTTP")) {
        return text.find("CONTENT-LANGUAGE") != std::string_view::npos ? DatagramKind::Document
                                                                       : DatagramKind::SearchAnswer;
    }
    if (Begins(text, "M-SEARCH")) {
        return DatagramKind::Search;
    }
    return Begins(text, "GET") ? DatagramKind::Request : DatagramKind::Other;
}

const char *NameOf(DatagramKind kind)
{
    constexpr std::array<const char *, kDatagramKinds> kNames{
        "alive", "goodbye", "search", "search answer", "request", "document", "other"};
    return kNames[static_cast<std::size_t>(kind)];
}

std::uint64_t HashOf(std::string_view text)
{
    std::uint64_t hash = text.size();
    while (!text.empty()) {
        std::uint64_t word = 0;
        const std::size_t bytes = text.size() < 8 ? text.size() : 8;
        for (std::size_t i = 0; i < bytes; ++i) {
            word |= static_cast<std::uint64_t>(static_cast<unsigned char>(text[i])) << (8 * i);
        }
        hash = Mixed(hash, word);
        text.remove_prefix(bytes);
    }
    return hash;
}

DatagramPointer MakeDatagram(std::string_view text, const sockaddr_in &sender,
                             const sockaddr_in &destination, bool multicast, std::uint32_t from)
{
    auto datagram = std::make_shared<Datagram>();
    datagram->text = text;
    datagram->sender = sender;
    datagram->destination = destination;
    datagram->multicast = multicast;
    datagram->kind = KindOf(text);
    datagram->from = from;
    datagram->hash = Mixed(Mixed(HashOf(text), ntohl(sender.sin_addr.s_addr)),
                           ntohl(destination.sin_addr.s_addr));
    return datagram;
}

sockaddr_in SocketAddress(in_addr_t address, std::uint16_t port)
{
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    result.sin_addr.s_addr = address;
    return result;
}

bool IsOnLink(in_addr_t address)
{
    return (ntohl(address) & kLinkMask) == kLinkNetwork;
}

std::string TextOf(in_addr_t address)
{
    std::array<char, INET_ADDRSTRLEN> text{};
    const in_addr binary{address};
    inet_ntop(AF_INET, &binary, text.data(), text.size());
    return text.data();
}

} // namespace simulation
