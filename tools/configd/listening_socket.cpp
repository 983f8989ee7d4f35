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

constexpr int kPassedDescriptor = 3; // the first descriptor that systemd passes

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

// The IPv4 address of a socket; all zeros (family AF_UNSPEC) if it has none.
sockaddr_in AddressOf(const vexbase::FileDescriptor &socket)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (getsockname(socket.Descriptor(), reinterpret_cast<sockaddr *>(&address), &size) != 0 ||
        address.sin_family != AF_INET) {
        return {};
    }
    return address;
}

bool Listens(const vexbase::FileDescriptor &socket)
{
    int listens = 0;
    socklen_t size = sizeof listens;
    return getsockopt(socket.Descriptor(), SOL_SOCKET, SO_ACCEPTCONN, &listens, &size) == 0 &&
           listens != 0;
}

vexbase::FileDescriptor TakePassedSocket()
{
    vexbase::FileDescriptor socket(kPassedDescriptor);
    if (!Listens(socket) || AddressOf(socket).sin_addr.s_addr != htonl(INADDR_LOOPBACK)) {
        static_cast<void>(socket.Release()); // not closed: it is not ours
        throw Failure(kWrongUsage, "descriptor 3 is not a TCP socket listening on 127.0.0.1");
    }
    Require(fcntl(socket.Descriptor(), F_SETFD, FD_CLOEXEC) == 0 &&
                fcntl(socket.Descriptor(), F_SETFL, O_NONBLOCK) == 0,
            "descriptor 3");
    return socket;
}

vexbase::FileDescriptor Listen(std::uint16_t port)
{
    const std::string what = "cannot listen on 127.0.0.1:" + std::to_string(port);
    vexbase::FileDescriptor socket(
        ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    Require(socket.Descriptor() >= 0, what);
    const int yes = 1; // for SO_REUSEADDR: connections of the previous run may be in TIME_WAIT
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    Require(setsockopt(socket.Descriptor(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) == 0 &&
                bind(socket.Descriptor(), reinterpret_cast<const sockaddr *>(&address),
                     sizeof address) == 0 &&
                listen(socket.Descriptor(), SOMAXCONN) == 0,
            what);
    return socket;
}

} // namespace

vexbase::FileDescriptor OpenListeningSocket(std::uint16_t port)
{
    const bool handedOver =
        EnvironmentHas("LISTEN_PID", std::to_string(getpid())) && EnvironmentHas("LISTEN_FDS", "1");
    return handedOver ? TakePassedSocket() : Listen(port);
}

std::uint16_t PortOf(const vexbase::FileDescriptor &socket)
{
    return ntohs(AddressOf(socket).sin_port);
}

} // namespace configd
