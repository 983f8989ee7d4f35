#pragma once

#include <arpa/inet.h>
#include <cstdint>
#include <netinet/in.h>
#include <stdexcept>
#include <string>

namespace test {

// The addresses of the device under test and of another host on its network.
constexpr const char *kOwnAddress = "192.0.2.10";
constexpr const char *kPeerAddress = "192.0.2.20";

// The socket address of a dotted-quad IPv4 address; an empty text is the address 0.0.0.0.
// Throws std::runtime_error for any other text.
inline sockaddr_in SocketAddressOf(const std::string &address, std::uint16_t port)
{
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    if (!address.empty() && inet_pton(AF_INET, address.c_str(), &result.sin_addr) != 1) {
        throw std::runtime_error("no IPv4 address: " + address);
    }
    return result;
}

inline in_addr AddressOf(const std::string &address)
{
    return SocketAddressOf(address, 0).sin_addr;
}

} // namespace test
