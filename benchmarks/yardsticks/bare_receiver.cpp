// Receives datagrams on the SSDP port and does nothing with them: the lowest possible cost of
// receiving. At SIGTERM it prints the number of datagrams and ends.

#include "multicast_socket.h"

#include <array>
#include <csignal>
#include <cstdio>

namespace {

volatile std::sig_atomic_t gEnd = 0;

void End(int /*signal*/)
{
    gEnd = 1;
}

} // namespace

int main()
{
    struct sigaction action = {};
    action.sa_handler = End; // without SA_RESTART: the signal interrupts recvfrom()
    sigaction(SIGTERM, &action, nullptr);
    const int descriptor = bench::OpenMember();
    std::array<char, 1501> buffer{};
    unsigned long received = 0;
    while (gEnd == 0) {
        sockaddr_in sender{};
        socklen_t length = sizeof sender;
        if (recvfrom(descriptor, buffer.data(), 1500, 0, reinterpret_cast<sockaddr *>(&sender),
                     &length) > 0) {
            ++received;
        }
    }
    std::printf("%lu\n", received);
    return 0;
}
