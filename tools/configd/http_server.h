#pragma once

#include "configd/api.h"
#include "configd/client.h"

#include <list>

namespace configd {

// The most streams of events, and the most other connections. A further stream gets status
// 503. A further connection without a stream waits until one of the others ends or opens a
// stream.
constexpr std::size_t kMaxStreams = 64;
constexpr std::size_t kMaxRequests = 128;

struct Periods
{
    std::chrono::milliseconds timeout{10000};   // see Client
    std::chrono::milliseconds heartbeat{10000}; // between heartbeats; clients expect 15 s at most
};

// HttpServer answers requests and sends the streams of events. It has no thread: its
// owner waits for Descriptor() to become readable, at most WaitMs(), then calls Run().
// Run does not wait, except for the storage when a request changes a file. The number
// of clients, and the memory and time of each, are bounded. Owned by one thread.
class HttpServer
{
public:
    // The constructor and Run throw std::system_error if a system call fails.
    // REQUIRES: socket is listening and non-blocking; settings outlives the server.
    HttpServer(Settings &settings, vexbase::FileDescriptor socket, const Periods &periods = {});

    // Readable when Run has something to do.
    [[nodiscard]] int Descriptor() const { return mEpoll.Descriptor(); }
    // The longest time to wait for Descriptor(), in milliseconds; -1 for no limit.
    [[nodiscard]] int WaitMs() const;
    // Handles what has arrived, sends events and ends overdue connections. Call it also
    // after a change of the settings.
    void Run();

private:
    using Clock = Client::Clock;

    struct Connection
    {
        Connection(vexbase::FileDescriptor socket, Clock::duration timeout)
            : client(std::move(socket), timeout), awaited(client.Events())
        {
        }

        Client client;
        std::uint32_t awaited; // the events that epoll reports
        bool hasEnded = false;
    };

    void Accept();
    void Serve(Connection &connection, std::uint32_t events);
    void Advance(Connection &connection);
    void Answer(Client &client, const Request &request);
    void FeedStreams();
    void EndOverdue();
    void WatchListener();

    [[nodiscard]] std::size_t StreamCount() const;
    [[nodiscard]] bool HasFreeSlot() const; // for a connection without a stream

    Settings &mSettings;
    const Periods mPeriods;
    const vexbase::FileDescriptor mListener;
    const vexbase::FileDescriptor mEpoll;
    bool mListens = true;
    Clock::time_point mNextHeartbeat;
    std::list<Connection> mConnections;
};

} // namespace configd
