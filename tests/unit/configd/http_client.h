#pragma once

#include <arpa/inet.h>
#include <array>
#include <chrono>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace test {

// Long enough for a busy machine with a sanitizer, and shorter than the 10 s between
// heartbeats: an event that is sent only together with a heartbeat is too late.
constexpr int kTimeoutMs = 8000;

// A TCP connection to the service.
class Connection
{
public:
    // receiveBuffer limits the system's receive buffer, in bytes; 0 keeps the default.
    explicit Connection(int receiveBuffer = 0) : mSocket(socket(AF_INET, SOCK_STREAM, 0))
    {
        if (receiveBuffer > 0) {
            setsockopt(mSocket, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
        }
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(8080);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(mSocket, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
            throw std::runtime_error("cannot connect");
        }
    }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;
    ~Connection() { close(mSocket); }

    void Send(const std::string &text) const
    {
        if (!TrySend(text)) {
            throw std::runtime_error("cannot send");
        }
    }

    // Returns false if the connection has ended.
    [[nodiscard]] bool TrySend(const std::string &text) const
    {
        return send(mSocket, text.data(), text.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(text.size());
    }

    // Waits for input or the end of the connection. Returns false if the time is over.
    [[nodiscard]] bool WaitForInput(int milliseconds) const
    {
        pollfd waiting{mSocket, POLLIN, 0};
        return poll(&waiting, 1, milliseconds) == 1;
    }

    // Reads up to and including `end`; if `end` is empty, up to the end of the connection.
    // Returns less if the connection ends before.
    std::string ReadUntil(const std::string &end)
    {
        std::size_t at = std::string::npos;
        while (end.empty() || (at = mReceived.find(end)) == std::string::npos) {
            if (!ReceiveMore()) {
                return std::exchange(mReceived, {});
            }
        }
        return Take(at + end.size());
    }

    std::string ReadBytes(std::size_t count)
    {
        while (mReceived.size() < count && ReceiveMore()) {
        }
        return Take(count);
    }

private:
    std::string Take(std::size_t count)
    {
        std::string taken = mReceived.substr(0, count);
        mReceived.erase(0, count);
        return taken;
    }

    // Returns false if the other side has ended the connection.
    bool ReceiveMore()
    {
        if (!WaitForInput(kTimeoutMs)) {
            throw std::runtime_error("no input from the service; received so far: " + mReceived);
        }
        std::array<char, 4096> buffer{};
        const ssize_t length = recv(mSocket, buffer.data(), buffer.size(), 0);
        mReceived.append(buffer.data(), static_cast<std::size_t>(length > 0 ? length : 0));
        return length > 0;
    }

    int mSocket;
    std::string mReceived;
};

struct Answer
{
    std::string status; // "200 OK"
    std::string header; // all lines
    std::string body;

    // The value of a header field; "" if it is absent.
    [[nodiscard]] std::string Field(const std::string &name) const
    {
        const std::string key = "\r\n" + name + ": ";
        const std::size_t at = header.find(key);
        if (at == std::string::npos) {
            return {};
        }
        const std::size_t begin = at + key.size();
        return header.substr(begin, header.find("\r\n", begin) - begin);
    }
};

// Reads a status line and the header.
inline Answer ReadHeader(Connection &connection)
{
    Answer answer;
    answer.header = connection.ReadUntil("\r\n\r\n");
    const std::string version = "HTTP/1.1 ";
    if (answer.header.rfind(version, 0) != 0) {
        throw std::runtime_error("no answer: " + answer.header);
    }
    answer.status =
        answer.header.substr(version.size(), answer.header.find("\r\n") - version.size());
    return answer;
}

inline std::string RequestText(const std::string &method, const std::string &target,
                               const std::string &body)
{
    return method + " " + target +
           " HTTP/1.1\r\nHost: 127.0.0.1:8080\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

// Sends one request on a new connection and returns the answer.
inline Answer Ask(const std::string &method, const std::string &target,
                  const std::string &body = "")
{
    Connection connection;
    connection.Send(RequestText(method, target, body));
    Answer answer = ReadHeader(connection);
    if (method != "HEAD") {
        answer.body = connection.ReadBytes(std::stoul("0" + answer.Field("Content-Length")));
    }
    return answer;
}

// A client of a stream of events.
class Stream
{
public:
    explicit Stream(const std::string &query, int receiveBuffer = 0) : mConnection(receiveBuffer)
    {
        mConnection.Send("GET /api/v1/watch" + query + " HTTP/1.1\r\nHost: 127.0.0.1:8080\r\n\r\n");
        mAnswer = ReadHeader(mConnection);
    }

    [[nodiscard]] const Answer &Header() const { return mAnswer; }

    // The next event with its empty line, or the next comment line; "" at the end.
    std::string Next()
    {
        while (true) {
            const std::string end = !mText.empty() && mText[0] == ':' ? "\n" : "\n\n";
            const std::size_t at = mText.find(end);
            if (at != std::string::npos) {
                std::string next = mText.substr(0, at + end.size());
                mText.erase(0, at + end.size());
                return next;
            }
            const std::string chunk = NextChunk();
            if (chunk.empty()) {
                return {};
            }
            mText += chunk;
        }
    }

    // Skips comments and other events until this event arrives, and returns it. Returns "" if
    // the stream ends before, and another text if the time is over.
    std::string SkipTo(const std::string &event)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kTimeoutMs);
        std::string next;
        do {
            next = Next();
        } while (!next.empty() && next != event && std::chrono::steady_clock::now() < end);
        return next;
    }

private:
    // "" at the end of the stream.
    std::string NextChunk()
    {
        const std::string size = mConnection.ReadUntil("\r\n");
        if (size.empty()) {
            return {};
        }
        const std::string chunk = mConnection.ReadBytes(std::stoul(size, nullptr, 16));
        return mConnection.ReadBytes(2) == "\r\n" ? chunk : std::string();
    }

    Connection mConnection;
    Answer mAnswer;
    std::string mText; // received, without the framing of chunks
};

inline std::string SystemEvent(const std::string &json)
{
    return "event: 24\ndata: " + json + "\n\n";
}

// The event of net0.
inline std::string DeviceEvent(const std::string &address, const std::string &state, bool connected)
{
    return "event: 19\ndata: [{\"name\":\"net0\",\"activeParams\":{\"address\":\"" + address +
           "\"},\"status\":{\"interfaceSetupState\":\"" + state +
           "\",\"connected\":" + (connected ? "true" : "false") + "}}]\n\n";
}

} // namespace test
