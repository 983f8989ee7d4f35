#pragma once

#include <QByteArray>
#include <QString>
#include <cstddef>
#include <sys/types.h>

namespace wsconfig {

// StreamSocket is a TCP connection to a server. No operation waits. Programs that this
// process starts do not inherit the descriptor. Not thread-safe. The destructor closes the
// connection. startConnecting, connectError and send return 0 or an errno value.
class StreamSocket
{
public:
    StreamSocket() = default;
    ~StreamSocket() { close(); }
    StreamSocket(const StreamSocket &) = delete;
    StreamSocket &operator=(const StreamSocket &) = delete;

    // Begins to connect to an address, a dotted quad, and a port, 1 to 65535; EINVAL for
    // other values. (Names are not looked up, because that would wait.) When the descriptor
    // is writable, connectError has the result. REQUIRES: the socket is closed.
    [[nodiscard]] int startConnecting(const QString &address, int port);
    // The result of connecting, once the descriptor is writable.
    [[nodiscard]] int connectError() const;

    // Sends a short text. EMSGSIZE when the system took only a part of it; on a new
    // connection that happens only to texts of many kilobytes.
    [[nodiscard]] int send(const QByteArray &text);

    // Receives at most `size` bytes. Like recv(2), returns the number of bytes, 0 at the end
    // of the stream, or -1 with errno, which is EAGAIN when there is nothing to read now.
    [[nodiscard]] ssize_t receive(void *buffer, std::size_t size);

    // Closes the connection; does nothing when it is closed.
    void close();

    // The descriptor, for poll(2) and QSocketNotifier; -1 when closed.
    [[nodiscard]] int descriptor() const { return m_descriptor; }

private:
    int m_descriptor = -1;
};

} // namespace wsconfig
