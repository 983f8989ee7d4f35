#include "vexbase/vex_udp_socket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <unistd.h>

namespace {

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

// One system call a datagram, whether it waits already or is waited for: the
// kernel keeps the time.
std::size_t VEXUDPSocket::Poll(void *buffer, std::size_t size, sockaddr_in &sender,
                               unsigned int timeoutMs)
{
    Use use(*this);
    const int flags = timeoutMs == 0 ? MSG_DONTWAIT : 0;
    if (!use || use.ReceivingEnded() || (timeoutMs != 0 && !use.SetReceiveTimeout(timeoutMs))) {
        return 0;
    }
    ssize_t received = 0;
    do {
        socklen_t length = sizeof sender;
        received = recvfrom(use.Descriptor(), buffer, size, flags,
                            reinterpret_cast<sockaddr *>(&sender), &length);
    } while (received < 0 && errno == EINTR);
    return received < 0 ? 0 : static_cast<std::size_t>(received);
}

std::size_t VEXUDPSocket::Read(void *buffer, std::size_t size, sockaddr_in &sender)
{
    return Poll(buffer, size, sender, kVEXInfinite);
}

int VEXUDPSocket::SetReceiveBuffer(int bytes)
{
    const Use use(*this);
    // Beyond the system's limit, for a process that may; else up to it. The
    // kernel doubles what it is asked for, for its own overhead.
    const int half = bytes / 2;
    if (use && setsockopt(use.Descriptor(), SOL_SOCKET, SO_RCVBUFFORCE, &half, sizeof half) != 0) {
        setsockopt(use.Descriptor(), SOL_SOCKET, SO_RCVBUF, &half, sizeof half);
    }
    int granted = 0;
    socklen_t length = sizeof granted;
    if (!use || getsockopt(use.Descriptor(), SOL_SOCKET, SO_RCVBUF, &granted, &length) != 0) {
        return kVEXFailure;
    }
    return granted;
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
