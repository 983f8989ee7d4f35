#include "configd/http_server.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <system_error>

namespace configd {
namespace {

void Require(bool done, const char *what)
{
    if (!done) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

// connection is null for the listening socket.
void Control(const vexbase::FileDescriptor &epoll, int operation, int descriptor,
             std::uint32_t events, void *connection)
{
    epoll_event event{};
    event.events = events;
    event.data.ptr = connection;
    Require(epoll_ctl(epoll.Descriptor(), operation, descriptor, &event) == 0, "epoll");
}

vexbase::FileDescriptor OpenEpoll()
{
    vexbase::FileDescriptor epoll(epoll_create1(EPOLL_CLOEXEC));
    Require(epoll.Descriptor() >= 0, "epoll");
    return epoll;
}

// Accepts the next waiting connection. Returns no descriptor if none is waiting.
vexbase::FileDescriptor AcceptOne(const vexbase::FileDescriptor &listener)
{
    vexbase::FileDescriptor socket(
        accept4(listener.Descriptor(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    // Other errors concern only this connection.
    Require(socket.Descriptor() >= 0 ||
                (errno != EMFILE && errno != ENFILE && errno != ENOMEM && errno != ENOBUFS),
            "accept");
    const int yes = 1; // without TCP_NODELAY a small event waits for an acknowledgement
    setsockopt(socket.Descriptor(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    return socket;
}

} // namespace

HttpServer::HttpServer(Settings &settings, vexbase::FileDescriptor socket, const Periods &periods)
    : mSettings(settings), mPeriods(periods), mListener(std::move(socket)), mEpoll(OpenEpoll())
{
    Control(mEpoll, EPOLL_CTL_ADD, mListener.Descriptor(), EPOLLIN, nullptr);
}

int HttpServer::WaitMs() const
{
    auto next = StreamCount() > 0 ? mNextHeartbeat : Clock::time_point::max();
    for (const Connection &connection : mConnections) {
        next = std::min(next, connection.client.Deadline());
    }
    if (next == Clock::time_point::max()) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now()).count();
    return static_cast<int>(std::max<decltype(left)>(left, 0));
}

void HttpServer::Run()
{
    std::array<epoll_event, 64> events{};
    const int count = epoll_wait(Descriptor(), events.data(), static_cast<int>(events.size()), 0);
    for (int i = 0; i < count; ++i) {
        const epoll_event &event = events.at(static_cast<std::size_t>(i));
        if (event.data.ptr == nullptr) {
            Accept();
        } else {
            Serve(*static_cast<Connection *>(event.data.ptr), event.events);
        }
    }
    FeedStreams();
    EndOverdue();
    mConnections.remove_if([](const Connection &connection) { return connection.hasEnded; });
    WatchListener();
}

void HttpServer::Accept()
{
    while (HasFreeSlot()) {
        vexbase::FileDescriptor socket = AcceptOne(mListener);
        if (socket.Descriptor() < 0) {
            return;
        }
        Connection &connection = mConnections.emplace_back(std::move(socket), mPeriods.timeout);
        Control(mEpoll, EPOLL_CTL_ADD, connection.client.Descriptor(), connection.awaited,
                &connection);
    }
}

void HttpServer::Serve(Connection &connection, std::uint32_t events)
{
    const bool broke = (events & (EPOLLERR | EPOLLHUP)) != 0;
    const bool ended = broke || ((events & EPOLLIN) != 0 && !connection.client.Receive());
    connection.hasEnded = ended;
    if (!ended) {
        Advance(connection);
    }
}

void HttpServer::Advance(Connection &connection)
{
    const auto answer = [this](Client &client, const Request &request) { Answer(client, request); };
    connection.hasEnded = !connection.client.Advance(mSettings.Current(), answer);
    const std::uint32_t events = connection.client.Events();
    if (!connection.hasEnded && events != connection.awaited) {
        connection.awaited = events;
        Control(mEpoll, EPOLL_CTL_MOD, connection.client.Descriptor(), events, &connection);
    }
}

void HttpServer::Answer(Client &client, const Request &request)
{
    std::vector<Parameter> parameters;
    auto reply = Respond(request, mSettings, parameters);
    if (!reply && StreamCount() >= kMaxStreams) {
        reply = ErrorReply(503, "too many watchers");
    }
    if (reply) {
        // While all slots are taken, other clients may be waiting. A client must not keep its
        // slot for ever by sending a request from time to time.
        client.Reply(request, *reply, HasFreeSlot());
        return;
    }
    if (StreamCount() == 0) {
        mNextHeartbeat = Clock::now() + mPeriods.heartbeat;
    }
    client.OpenStream(request, parameters);
}

void HttpServer::FeedStreams()
{
    const bool heartbeatIsDue = Clock::now() >= mNextHeartbeat;
    if (heartbeatIsDue) {
        mNextHeartbeat = Clock::now() + mPeriods.heartbeat;
    }
    for (Connection &connection : mConnections) {
        if (!connection.hasEnded && connection.client.IsStream()) {
            if (heartbeatIsDue) {
                connection.client.AddHeartbeat();
            }
            Advance(connection);
        }
    }
}

void HttpServer::EndOverdue()
{
    for (Connection &connection : mConnections) {
        if (!connection.hasEnded && connection.client.Deadline() <= Clock::now()) {
            connection.client.AnswerTimeout();
            connection.hasEnded = true;
        }
    }
}

void HttpServer::WatchListener()
{
    if (HasFreeSlot() != mListens) {
        mListens = !mListens;
        const std::uint32_t events = mListens ? EPOLLIN : EPOLLERR; // epoll always reports EPOLLERR
        Control(mEpoll, EPOLL_CTL_MOD, mListener.Descriptor(), events, nullptr);
    }
}

std::size_t HttpServer::StreamCount() const
{
    return static_cast<std::size_t>(
        std::count_if(mConnections.begin(), mConnections.end(),
                      [](const Connection &connection) { return connection.client.IsStream(); }));
}

bool HttpServer::HasFreeSlot() const
{
    return mConnections.size() - StreamCount() < kMaxRequests;
}

} // namespace configd
