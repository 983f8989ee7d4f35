#include "vexbase/vex_udp_socket.h"

#include "vexbase/vex_time.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

// Shorter waits use poll() alone. The kernel may end a receive time-out late: by up to an
// eighth of the time-out plus two of the kernel's ticks, which may last 10 ms each.
constexpr unsigned int kLeastReceiveTimeoutMs = 100;

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

// The time to wait in the receiving call itself, 0 for none: three quarters of the
// time-out, since SO_RCVTIMEO ends late. poll() waits for the rest.
unsigned int ReceiveTimeoutMs(unsigned int timeoutMs)
{
    if (timeoutMs == vexbase::kInfinite) {
        return vexbase::kInfinite;
    }
    const unsigned int most = timeoutMs - timeoutMs / 4;
    return most < kLeastReceiveTimeoutMs ? 0 : most;
}

// The time until end as poll() takes it: whole milliseconds, rounded up; -1 without limit.
int LeftMs(Clock::time_point end)
{
    if (end == Clock::time_point::max()) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    return static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
}

// Waits until something can be received or receiving is shut down; false if end is first.
bool WaitReadable(int descriptor, Clock::time_point end)
{
    pollfd waiting{descriptor, POLLIN, 0};
    int left = 0;
    do {
        left = LeftMs(end);
        if (poll(&waiting, 1, left) > 0) {
            return true;
        }
    } while (left != 0); // interrupted by a signal, or longer than one poll() can wait
    return false;
}

} // namespace

int VEXUDPSocket::Open(const std::string &localAddress, std::uint16_t port, Port sharing)
{
    sockaddr_in local{};
    // IsOpen() first: a second socket on a shared port would take datagrams from the one
    // that is open.
    if (IsOpen() || !ParseLocal(localAddress, port, local)) {
        return vexbase::kFailure;
    }
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        return vexbase::kFailure;
    }
    if (!Bind(descriptor, local, sharing) || Adopt(descriptor) != vexbase::kSuccess) {
        close(descriptor);
        return vexbase::kFailure;
    }
    return vexbase::kSuccess;
}

// Receives once: calls receive(descriptor, flags), waits if nothing has arrived, and calls it
// again. The result of receive is negative if nothing has arrived.
//
// While datagrams flow, a receive costs one system call, except in the last quarter of
// the wait, for which poll() is used because it is more punctual. On a quiet socket
// only poll() waits: an idle program then wakes up once in each time-out.
template <typename ReceiveCall>
bool VEXUDPSocket::Await(unsigned int timeoutMs, ReceiveCall receive)
{
    Use use(*this);
    const unsigned int inCallMs = mFlowing ? ReceiveTimeoutMs(timeoutMs) : 0;
    if (!use || use.ReceivingEnded() || (inCallMs != 0 && !use.SetReceiveTimeout(inCallMs))) {
        return false;
    }
    const Clock::time_point end = VEXTime::EndOf(timeoutMs);
    bool received = receive(use.Descriptor(), inCallMs == 0 ? MSG_DONTWAIT : 0) >= 0;
    if (!received && WaitReadable(use.Descriptor(), end)) {
        received = receive(use.Descriptor(), MSG_DONTWAIT) >= 0;
    }
    mFlowing = received;
    return received;
}

std::size_t VEXUDPSocket::Poll(void *buffer, std::size_t size, sockaddr_in &sender,
                               unsigned int timeoutMs)
{
    ssize_t length = 0;
    const bool received = Await(timeoutMs, [&](int descriptor, int flags) {
        socklen_t senderLength = sizeof sender;
        length = recvfrom(descriptor, buffer, size, flags, reinterpret_cast<sockaddr *>(&sender),
                          &senderLength);
        return length;
    });
    return received ? static_cast<std::size_t>(length) : 0;
}

std::size_t VEXUDPSocket::Poll(vexbase::DatagramBatch &batch, unsigned int timeoutMs)
{
    const bool received = Await(timeoutMs, [&batch](int descriptor, int flags) {
        return batch.Receive(descriptor, flags);
    });
    if (!received) {
        batch.Clear();
    }
    return batch.Count();
}

std::size_t VEXUDPSocket::Read(void *buffer, std::size_t size, sockaddr_in &sender)
{
    return Poll(buffer, size, sender, vexbase::kInfinite);
}

int VEXUDPSocket::SetReceiveBuffer(int bytes)
{
    const Use use(*this);
    // SO_RCVBUFFORCE ignores the system's limit, but needs CAP_NET_ADMIN. The kernel
    // doubles the value for its overhead, socket(7).
    const int half = bytes / 2;
    if (use && setsockopt(use.Descriptor(), SOL_SOCKET, SO_RCVBUFFORCE, &half, sizeof half) != 0) {
        setsockopt(use.Descriptor(), SOL_SOCKET, SO_RCVBUF, &half, sizeof half);
    }
    int granted = 0;
    socklen_t length = sizeof granted;
    if (!use || getsockopt(use.Descriptor(), SOL_SOCKET, SO_RCVBUF, &granted, &length) != 0) {
        return vexbase::kFailure;
    }
    return granted;
}

int VEXUDPSocket::Write(const void *data, std::size_t length, const sockaddr_in &destination)
{
    const Use use(*this);
    if (!use) {
        return vexbase::kFailure;
    }
    const ssize_t sent =
        sendto(use.Descriptor(), data, length, MSG_DONTWAIT | MSG_NOSIGNAL,
               reinterpret_cast<const sockaddr *>(&destination), sizeof destination);
    if (sent >= 0) {
        return static_cast<int>(sent);
    }
    return errno == EAGAIN || errno == ENOBUFS ? vexbase::kNoRoom : vexbase::kFailure;
}

int VEXUDPSocket::WriteSparing(const void *data, std::size_t length, const sockaddr_in &destination,
                               int sparedPercent)
{
    {
        const Use use(*this);
        int waiting = 0;
        int room = 0;
        socklen_t size = sizeof room;
        if (!use || ioctl(use.Descriptor(), SIOCOUTQ, &waiting) != 0 ||
            getsockopt(use.Descriptor(), SOL_SOCKET, SO_SNDBUF, &room, &size) != 0) {
            return vexbase::kFailure;
        }
        if (waiting > room / 100 * (100 - sparedPercent)) {
            return vexbase::kNoRoom;
        }
    }
    return Write(data, length, destination);
}
