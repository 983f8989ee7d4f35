#pragma once

// Helpers of the socket tests.
#include "support/addresses.h"
#include "support/private_namespace.h"
#include "vexbase/vex_udp_socket.h"

#include <arpa/inet.h>
#include <array>
#include <cstdint>
#include <string>

namespace test {

constexpr std::uint16_t kPort = 1900;
constexpr unsigned int kGenerousMs = 60000;

inline std::string Text(const sockaddr_in &address)
{
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, &address.sin_addr, text.data(), text.size());
    return text.data() + (":" + std::to_string(ntohs(address.sin_port)));
}

// The datagram of one Poll and its sender; both are empty if none came.
struct Polled
{
    std::string datagram;
    std::string sender;
};

inline Polled PollOnce(VEXUDPSocket &socket, unsigned int timeoutMs, std::size_t size = 1500)
{
    std::string buffer(size, '\0');
    sockaddr_in sender{};
    buffer.resize(socket.Poll(buffer.data(), size, sender, timeoutMs));
    return {buffer, sender.sin_family == AF_INET ? Text(sender) : ""};
}

inline int WriteText(VEXUDPSocket &socket, const std::string &text, const sockaddr_in &destination)
{
    return socket.Write(text.data(), text.size(), destination);
}

} // namespace test
