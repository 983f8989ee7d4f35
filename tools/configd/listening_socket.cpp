#include "configd/listening_socket.h"

#include "configd/exit_status.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <system_error>

namespace configd {
namespace {

constexpr int kHandedOver = 3; // the first descriptor that systemd hands over

void Require(bool done, const std::string &what)
{
    if (!done) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

bool EnvironmentHas(const char *name, const std::string &value)
{
    const char *found = std::getenv(name); // NOLINT(concurrency-mt-unsafe): there is one thread
    return found != nullptr && found == value;
}

// The address that a socket is bound to; none (family AF_UNSPEC) on a fault.
sockaddr_in AddressOf(const Descriptor &socket)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (getsockname(socket.Number(), reinterpret_cast<sockaddr *>(&address), &size) != 0 ||
        address.sin_family != AF_INET) {
        return {};
    }
    return address;
}

bool Listens(const Descriptor &socket)
{
    int listens = 0;
    socklen_t size = sizeof listens;
    return getsockopt(socket.Number(), SOL_SOCKET, SO_ACCEPTCONN, &listens, &size) == 0 &&
           listens != 0;
}

Descriptor TakeHandedOver()
{
    Descriptor socket(kHandedOver);
    if (!Listens(socket) || AddressOf(socket).sin_addr.s_addr != htonl(INADDR_LOOPBACK)) {
        static_cast<void>(socket.Release()); // it may belong to somebody else
        throw Failure(kWrongUsage, "descriptor 3 is no TCP socket that listens on 127.0.0.1");
    }
    Require(fcntl(socket.Number(), F_SETFD, FD_CLOEXEC) == 0 &&
                fcntl(socket.Number(), F_SETFL, O_NONBLOCK) == 0,
            "descriptor 3");
    return socket;
}

Descriptor Listen(std::uint16_t port)
{
    const std::string what = "cannot listen on 127.0.0.1:" + std::to_string(port);
    Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    Require(socket.Number() >= 0, what);
    const int yes = 1; // connections of an earlier run may linger
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    Require(setsockopt(socket.Number(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) == 0 &&
                bind(socket.Number(), reinterpret_cast<const sockaddr *>(&address),
                     sizeof address) == 0 &&
                listen(socket.Number(), SOMAXCONN) == 0,
            what);
    return socket;
}

} // namespace

Descriptor OpenListeningSocket(std::uint16_t port)
{
    const bool handedOver =
        EnvironmentHas("LISTEN_PID", std::to_string(getpid())) && EnvironmentHas("LISTEN_FDS", "1");
    return handedOver ? TakeHandedOver() : Listen(port);
}

std::uint16_t PortOf(const Descriptor &socket)
{
    return ntohs(AddressOf(socket).sin_port);
}

} // namespace configd
