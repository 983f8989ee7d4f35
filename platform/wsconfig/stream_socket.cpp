#include "wsconfig/stream_socket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <limits>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace wsconfig {

int StreamSocket::startConnecting(const QString &address, int port)
{
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_port = htons(static_cast<in_port_t>(port));
    if (port < 1 || port > std::numeric_limits<in_port_t>::max() ||
        inet_pton(AF_INET, address.toUtf8().constData(), &server.sin_addr) != 1) {
        return EINVAL;
    }
    m_descriptor = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (m_descriptor < 0) {
        return errno;
    }
    const auto *generic = reinterpret_cast<const sockaddr *>(&server);
    if (connect(m_descriptor, generic, sizeof server) == 0) {
        return 0;
    }
    return errno == EINPROGRESS || errno == EINTR ? 0 : errno;
}

int StreamSocket::connectError() const
{
    int error = 0;
    socklen_t size = sizeof error;
    return getsockopt(m_descriptor, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

int StreamSocket::send(const QByteArray &text)
{
    const auto size = static_cast<std::size_t>(text.size());
    const ssize_t sent = ::send(m_descriptor, text.constData(), size, MSG_NOSIGNAL);
    if (sent < 0) {
        return errno;
    }
    return sent == text.size() ? 0 : EMSGSIZE;
}

ssize_t StreamSocket::receive(void *buffer, std::size_t size)
{
    return recv(m_descriptor, buffer, size, 0);
}

void StreamSocket::close()
{
    if (m_descriptor >= 0) {
        ::close(m_descriptor);
        m_descriptor = -1;
    }
}

} // namespace wsconfig
