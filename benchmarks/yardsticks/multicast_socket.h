#pragma once

#include <netinet/in.h>
#include <string>

// The sockets of the programs of this folder. If a system call fails, every function ends the
// program with a line on standard error.
namespace bench {

constexpr const char *kGroup = "239.255.255.250";
constexpr unsigned short kPort = 1900;
// In bytes. Holds a burst of 2000 NOTIFYs of 300 bytes.
constexpr int kReceiveBuffer = 2000 * 1280;

// The socket address of a dotted quad and a port. The port is in host byte order.
[[nodiscard]] sockaddr_in Address(const std::string &address, unsigned short port);

// A socket on port 1900 that is a member of the SSDP group on net0.
[[nodiscard]] int OpenMember();

// A socket on a free port that sends multicast through net0.
[[nodiscard]] int OpenSender();

// Ends the program with status 1 after a line: `what` and the text of errno.
[[noreturn]] void Fail(const char *what);

} // namespace bench
