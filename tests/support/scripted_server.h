#pragma once

#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <cerrno>
#include <functional>
#include <mutex>
#include <netinet/in.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

namespace test {

constexpr const char *kEventStream =
    "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nTransfer-Encoding: chunked\r\n\r\n";

inline std::string Chunk(const std::string &text)
{
    std::array<char, 32> size{};
    std::snprintf(size.data(), size.size(), "%zx\r\n", text.size());
    return size.data() + text + "\r\n";
}

// An event of the configuration service, as one chunk.
inline std::string Event(const std::string &type, const std::string &data)
{
    return Chunk("event: " + type + "\ndata: " + data + "\n\n");
}

// The server's end of one connection, for scripts.
class Connection
{
public:
    explicit Connection(int descriptor) : mDescriptor(descriptor) {}

    // The request's header with the empty line; a part of it if the peer closes first.
    std::string ReadRequest()
    {
        std::string request;
        char byte = 0;
        while (request.find("\r\n\r\n") == std::string::npos &&
               recv(mDescriptor, &byte, 1, 0) == 1) {
            request += byte;
        }
        return request;
    }

    // Sends the whole text, unless the peer closes the connection.
    void Send(std::string_view bytes)
    {
        while (!bytes.empty()) {
            const ssize_t sent = send(mDescriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (sent <= 0) {
                return;
            }
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        }
    }

    // Waits until the peer closes the connection or the server is stopped.
    void WaitForEnd()
    {
        char byte = 0;
        while (recv(mDescriptor, &byte, 1, 0) == 1) {
        }
    }

private:
    int mDescriptor;
};

// A TCP server on the loopback with its own thread. Scripts give its answers: the
// first script handles the first connection, and so on; the last script also handles all
// later ones. A connection is closed when its script returns.
class ScriptedServer
{
public:
    using Script = std::function<void(Connection &)>;

    // Reserves a port (0: any free one). Connections are refused until Start.
    explicit ScriptedServer(int port = 0)
        : mListener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        const int yes = 1;
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<in_port_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto *generic = reinterpret_cast<sockaddr *>(&address);
        Check(setsockopt(mListener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes));
        Check(bind(mListener, generic, size));
        Check(getsockname(mListener, generic, &size));
        mPort = ntohs(address.sin_port);
    }
    ScriptedServer(const ScriptedServer &) = delete;
    ScriptedServer &operator=(const ScriptedServer &) = delete;
    ~ScriptedServer() { Stop(); }

    void Start(std::vector<Script> scripts)
    {
        Check(listen(mListener, 8));
        mThread = std::thread([this, scripts = std::move(scripts)] { Serve(scripts); });
    }

    // Closes the open connection and refuses others, as if the service were killed.
    void Stop()
    {
        shutdown(mListener, SHUT_RDWR);
        {
            const std::lock_guard<std::mutex> held(mMutex);
            mStopped = true;
            shutdown(mOpen, SHUT_RDWR);
        }
        if (mThread.joinable()) {
            mThread.join();
        }
        if (mListener >= 0) {
            close(mListener);
            mListener = -1;
        }
    }

    [[nodiscard]] int Port() const { return mPort; }
    // The number of connections so far.
    [[nodiscard]] int Connections() const { return mConnections; }

private:
    static void Check(int result)
    {
        if (result != 0) {
            throw std::system_error(errno, std::generic_category(), "scripted server");
        }
    }

    void Serve(const std::vector<Script> &scripts)
    {
        std::size_t number = 0;
        for (int peer = -1; (peer = accept4(mListener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
            if (SetOpen(peer)) {
                ++mConnections;
                Connection connection(peer);
                scripts.at(number)(connection);
                number += number + 1 < scripts.size() ? 1 : 0;
            }
            SetOpen(-1);
            close(peer);
        }
    }

    bool SetOpen(int peer)
    {
        const std::lock_guard<std::mutex> held(mMutex);
        mOpen = peer;
        return !mStopped;
    }

    int mListener;
    int mPort = 0;
    std::atomic<int> mConnections{0};
    std::thread mThread;
    std::mutex mMutex;
    // Guarded by mMutex:
    int mOpen = -1;
    bool mStopped = false;
};

} // namespace test
