#pragma once

#include <netinet/in.h>
#include <string>

// The socket that every program of this folder uses. Each ends the program with
// a line on standard error when the system refuses.
namespace bench {

constexpr const char *kGroup = "239.255.255.250";
constexpr unsigned short kPort = 1900;
// As the daemon asks for.
constexpr int kReceiveBuffer = 2000 * 1280;

// IPv4 address and port in host byte order.
[[nodiscard]] sockaddr_in Address(const std::string &address, unsigned short port);

// A socket on port 1900 that is a member of the SSDP group on net0.
[[nodiscard]] int OpenMember();

// A socket on any port that sends multicast out of net0.
[[nodiscard]] int OpenSender();

// Ends the program with the last error.
[[noreturn]] void Fail(const char *what);

} // namespace bench
