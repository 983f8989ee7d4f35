#include "beaconctl/udp_client.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <net/if.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::size_t kMaxDatagram = 65536;

} // namespace

UdpClient::UdpClient() : mDescriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
{
    ip_mreqn interface {
    };
    interface.imr_ifindex = static_cast<int>(if_nametoindex("net0"));
    if (interface.imr_ifindex != 0) {
        setsockopt(mDescriptor, IPPROTO_IP, IP_MULTICAST_IF, &interface, sizeof interface);
    }
}

UdpClient::~UdpClient()
{
    if (mDescriptor >= 0) {
        close(mDescriptor);
    }
}

bool UdpClient::Send(const std::string &datagram, const sockaddr_in &destination)
{
    return sendto(mDescriptor, datagram.data(), datagram.size(), 0,
                  reinterpret_cast<const sockaddr *>(&destination), sizeof destination) >= 0;
}

std::optional<std::string> UdpClient::Receive(Clock::time_point end, sockaddr_in &sender)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    pollfd waiting{mDescriptor, POLLIN, 0};
    if (left <= 0 ||
        poll(&waiting, 1, static_cast<int>(std::min<decltype(left)>(left, 3600000))) <= 0) {
        return std::nullopt;
    }
    std::vector<char> buffer(kMaxDatagram);
    socklen_t length = sizeof sender;
    const ssize_t received = recvfrom(mDescriptor, buffer.data(), buffer.size(), 0,
                                      reinterpret_cast<sockaddr *>(&sender), &length);
    if (received < 0) {
        return std::nullopt;
    }
    return std::string(buffer.data(), static_cast<std::size_t>(received));
}

std::optional<sockaddr_in> ParseAddress(const std::string &address, std::uint16_t port)
{
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    if (inet_pton(AF_INET, address.c_str(), &result.sin_addr) != 1) {
        return std::nullopt;
    }
    return result;
}

std::string AddressText(const sockaddr_in &address)
{
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, &address.sin_addr, text.data(), text.size());
    return text.data();
}
