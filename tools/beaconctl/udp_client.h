#pragma once

#include <chrono>
#include <netinet/in.h>
#include <optional>
#include <string>

// UdpClient is a datagram socket on a port of its own. Every wait has an end.
class UdpClient
{
public:
    using Clock = std::chrono::steady_clock;

    // Opens the socket. Multicast leaves through the interface "net0" where
    // there is one, since a device need not have a default route.
    UdpClient();
    ~UdpClient();
    UdpClient(const UdpClient &) = delete;
    UdpClient &operator=(const UdpClient &) = delete;

    // Sends a datagram. 0, or the error number of the system: that of opening the
    // socket if it could not be opened.
    [[nodiscard]] int Send(const std::string &datagram, const sockaddr_in &destination);

    // The next datagram and its sender; nothing when the time has come.
    [[nodiscard]] std::optional<std::string> Receive(Clock::time_point end, sockaddr_in &sender);

private:
    int mDescriptor;
    int mOpenError; // 0 if the socket is open
};

// The socket address of a dotted quad; nothing for anything else.
[[nodiscard]] std::optional<sockaddr_in> ParseAddress(const std::string &address,
                                                      std::uint16_t port);

// The dotted quad of a socket address.
[[nodiscard]] std::string AddressText(const sockaddr_in &address);
