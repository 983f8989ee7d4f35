#pragma once

#include <QByteArray>
#include <QString>
#include <cstddef>
#include <sys/types.h>

// StreamSocket is a TCP connection to a server, opened and used without ever
// waiting. No child process inherits its descriptor. One thread; the destructor
// closes the connection. Errors are errno values, 0 for none.
class StreamSocket
{
public:
    StreamSocket() = default;
    ~StreamSocket() { close(); }
    StreamSocket(const StreamSocket &) = delete;
    StreamSocket &operator=(const StreamSocket &) = delete;

    // Begins to connect to a dotted-quad address (anything else is EINVAL: to
    // look up a name would mean to wait) and a port, 1 to 65535. Once the
    // descriptor is writable, connectError tells how it went.
    // REQUIRES: closed.
    [[nodiscard]] int startConnecting(const QString &address, int port);
    [[nodiscard]] int connectError() const;

    // Sends a short text. EMSGSIZE when the system took only a part of it,
    // which it does not on a new connection unless the text has many kilobytes.
    [[nodiscard]] int send(const QByteArray &text);

    // As recv(2): bytes read, 0 at the end, -1 with errno, which is EAGAIN when
    // there is nothing to read now.
    [[nodiscard]] ssize_t receive(void *buffer, std::size_t size);

    void close();

    // For polling; -1 when closed.
    [[nodiscard]] int descriptor() const { return m_descriptor; }

private:
    int m_descriptor = -1;
};
