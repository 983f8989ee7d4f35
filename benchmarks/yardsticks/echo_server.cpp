// Answers every M-SEARCH at once with a text as long as a search response: the lowest possible
// cost of answering. It does not answer announcements, because such answers would disturb the
// other measured programs.

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
        const ssize_t received = recvfrom(descriptor, buffer.data(), 1500, 0,
                                          reinterpret_cast<sockaddr *>(&sender), &length);
        if (received > 0 && buffer.front() == 'M') {
            sendto(descriptor, answer.data(), answer.size(), 0,
                   reinterpret_cast<const sockaddr *>(&sender), length);
        }
    }
}
