// Answers every datagram on the SSDP port at once with a text as long as a
// search response: the floor of what answering can cost.

#include "multicast_socket.h"

#include <array>
#include <string>

int main()
{
    const int descriptor = bench::OpenMember();
    const std::string answer(214, 'x');
    std::array<char, 1501> buffer{};
    while (true) {
        sockaddr_in sender{};
        socklen_t length = sizeof sender;
        if (recvfrom(descriptor, buffer.data(), 1500, 0, reinterpret_cast<sockaddr *>(&sender),
                     &length) > 0) {
            sendto(descriptor, answer.data(), answer.size(), 0,
                   reinterpret_cast<const sockaddr *>(&sender), length);
        }
    }
}
