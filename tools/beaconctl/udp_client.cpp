#include "beaconctl/udp_client.h"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <net/if.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::size_t kMaxDatagram = 65536;

} // namespace

UdpClient::UdpClient()
    : mDescriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)),
      mOpenError(mDescriptor < 0 ? errno : 0)
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

int UdpClient::Send(const std::string &datagram, const sockaddr_in &destination)
{
    if (mOpenError != 0) {
        return mOpenError;
    }
    const ssize_t sent =
        sendto(mDescriptor, datagram.data(), datagram.size(), 0,
               reinterpret_cast<const sockaddr *>(&destination), sizeof destination);
    return sent < 0 ? errno : 0;
}

std::optional<std::string> UdpClient::Receive(Clock::time_point end, sockaddr_in &sender)
{
    std::vector<char> buffer(kMaxDatagram);
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        pollfd waiting{mDescriptor, POLLIN, 0};
        if (left.count() <= 0 || poll(&waiting, 1, static_cast<int>(left.count())) <= 0) {
            return std::nullopt;
        }
        // Without waiting: the kernel drops a datagram of a wrong checksum only here.
        socklen_t length = sizeof sender;
        const ssize_t received = recvfrom(mDescriptor, buffer.data(), buffer.size(), MSG_DONTWAIT,
                                          reinterpret_cast<sockaddr *>(&sender), &length);
        if (received >= 0) {
            return std::string(buffer.data(), static_cast<std::size_t>(received));
        }
    }
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
