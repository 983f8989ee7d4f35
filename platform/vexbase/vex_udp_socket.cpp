#include "vexbase/vex_udp_socket.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <chrono>
#include <climits>
#include <poll.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

bool ParseLocal(const std::string &address, std::uint16_t port, sockaddr_in &local)
{
    local.sin_family = AF_INET;
    local.sin_port = htons(port);
    local.sin_addr.s_addr = htonl(INADDR_ANY);
    return address.empty() || (address.find('\0') == std::string::npos &&
                               inet_pton(AF_INET, address.c_str(), &local.sin_addr) == 1);
}

bool Bind(int descriptor, const sockaddr_in &local, VEXUDPSocket::Port sharing)
{
    const int yes = 1;
    if (sharing == VEXUDPSocket::Port::Shared &&
        setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) != 0) {
        return false;
    }
    return bind(descriptor, reinterpret_cast<const sockaddr *>(&local), sizeof local) == 0;
}

// Takes what is queued, without waiting; negative when nothing is.
ssize_t Receive(int descriptor, void *buffer, std::size_t size, sockaddr_in &sender)
{
    socklen_t length = sizeof sender;
    return recvfrom(descriptor, buffer, size, MSG_DONTWAIT, reinterpret_cast<sockaddr *>(&sender),
                    &length);
}

Clock::time_point EndOf(unsigned int timeoutMs)
{
    return timeoutMs == kVEXInfinite ? Clock::time_point::max()
                                     : Clock::now() + std::chrono::milliseconds(timeoutMs);
}

// The time left as poll() takes it: whole milliseconds, rounded up, -1 for ever.
int LeftMs(Clock::time_point end)
{
    if (end == Clock::time_point::max()) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    return static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
}

// Whether there is something to receive before the end; false at once when the
// wake descriptor is readable.
bool WaitReadable(int descriptor, int wake, Clock::time_point end)
{
    std::array<pollfd, 2> waiting{{{descriptor, POLLIN, 0}, {wake, POLLIN, 0}}};
    int left = 0;
    do {
        left = LeftMs(end);
        if (poll(waiting.data(), waiting.size(), left) > 0) {
            return waiting[1].revents == 0;
        }
    } while (left != 0); // interrupted, or waiting longer than one poll can
    return false;
}

} // namespace

int VEXUDPSocket::Open(const std::string &localAddress, std::uint16_t port, Port sharing)
{
    sockaddr_in local{};
    // Asked first, since a second socket bound to a shared port would take the
    // datagrams away from the one that is open.
    if (IsOpen() || !ParseLocal(localAddress, port, local)) {
        return kVEXFailure;
    }
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        return kVEXFailure;
    }
    if (!Bind(descriptor, local, sharing) || Adopt(descriptor) != kVEXSuccess) {
        close(descriptor);
        return kVEXFailure;
    }
    return kVEXSuccess;
}

std::size_t VEXUDPSocket::Poll(void *buffer, std::size_t size, sockaddr_in &sender,
                               unsigned int timeoutMs)
{
    const Use use(*this);
    if (!use || use.ReceivingEnded()) {
        return 0;
    }
    // Receiving first: while datagrams are queued, each costs one system call.
    ssize_t received = Receive(use.Descriptor(), buffer, size, sender);
    if (received < 0) {
        const Clock::time_point end = EndOf(timeoutMs);
        while (received < 0 && WaitReadable(use.Descriptor(), use.WakeDescriptor(), end)) {
            received = Receive(use.Descriptor(), buffer, size, sender);
        }
    }
    return received < 0 ? 0 : static_cast<std::size_t>(received);
}

std::size_t VEXUDPSocket::Read(void *buffer, std::size_t size, sockaddr_in &sender)
{
    return Poll(buffer, size, sender, kVEXInfinite);
}

int VEXUDPSocket::Write(const void *data, std::size_t length, const sockaddr_in &destination)
{
    const Use use(*this);
    if (!use) {
        return kVEXFailure;
    }
    const ssize_t sent =
        sendto(use.Descriptor(), data, length, MSG_DONTWAIT | MSG_NOSIGNAL,
               reinterpret_cast<const sockaddr *>(&destination), sizeof destination);
    return sent < 0 ? kVEXFailure : static_cast<int>(sent);
}
