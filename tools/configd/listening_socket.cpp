#include "configd/listening_socket.h"

#include <cerrno>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <system_error>

namespace configd {
namespace {

void Require(bool done, const std::string &what)
{
    if (!done) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

} // namespace

Descriptor OpenListeningSocket(std::uint16_t port)
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

} // namespace configd
