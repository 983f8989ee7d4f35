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

// A null pointer stands for the listening socket.
void Control(const Descriptor &epoll, int operation, int number, std::uint32_t events, void *place)
{
    epoll_event event{};
    event.events = events;
    event.data.ptr = place;
    Require(epoll_ctl(epoll.Number(), operation, number, &event) == 0, "epoll");
}

Descriptor OpenEpoll()
{
    Descriptor epoll(epoll_create1(EPOLL_CLOEXEC));
    Require(epoll.Number() >= 0, "epoll");
    return epoll;
}

// The next connection that waits; none if there is none.
Descriptor AcceptOne(const Descriptor &listener)
{
    Descriptor socket(accept4(listener.Number(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    // Other errors are those of the connection.
    Require(socket.Number() >= 0 ||
                (errno != EMFILE && errno != ENFILE && errno != ENOMEM && errno != ENOBUFS),
            "accept");
    const int yes = 1; // a small event must not wait for an acknowledgement
    setsockopt(socket.Number(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    return socket;
}

} // namespace

HttpServer::HttpServer(Settings &settings, Descriptor socket, const Periods &periods)
    : mSettings(settings), mPeriods(periods), mListener(std::move(socket)), mEpoll(OpenEpoll())
{
    Control(mEpoll, EPOLL_CTL_ADD, mListener.Number(), EPOLLIN, nullptr);
}

int HttpServer::WaitMs() const
{
    auto next = Streams() > 0 ? mNextComment : Clock::time_point::max();
    for (const Place &place : mPlaces) {
        next = std::min(next, place.client.Deadline());
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
    const int count = epoll_wait(Number(), events.data(), static_cast<int>(events.size()), 0);
    for (int i = 0; i < count; ++i) {
        const epoll_event &event = events.at(static_cast<std::size_t>(i));
        if (event.data.ptr == nullptr) {
            Accept();
        } else {
            Serve(*static_cast<Place *>(event.data.ptr), event.events);
        }
    }
    FeedStreams();
    DropLate();
    mPlaces.remove_if([](const Place &place) { return place.isOver; });
    WatchListener();
}

void HttpServer::Accept()
{
    while (HasPlace()) {
        Descriptor socket = AcceptOne(mListener);
        if (socket.Number() < 0) {
            return;
        }
        Place &place = mPlaces.emplace_back(std::move(socket), mPeriods.patience);
        Control(mEpoll, EPOLL_CTL_ADD, place.client.Number(), place.awaited, &place);
    }
}

void HttpServer::Serve(Place &place, std::uint32_t events)
{
    const bool broke = (events & (EPOLLERR | EPOLLHUP)) != 0;
    const bool ended = broke || ((events & EPOLLIN) != 0 && !place.client.Receive());
    place.isOver = ended;
    if (!ended) {
        Advance(place);
    }
}

void HttpServer::Advance(Place &place)
{
    const auto answer = [this](Client &client, const Request &request) { Answer(client, request); };
    place.isOver = !place.client.Advance(mSettings.Current(), answer);
    const std::uint32_t events = place.client.Events();
    if (!place.isOver && events != place.awaited) {
        place.awaited = events;
        Control(mEpoll, EPOLL_CTL_MOD, place.client.Number(), events, &place);
    }
}

void HttpServer::Answer(Client &client, const Request &request)
{
    std::vector<Parameter> parameters;
    auto reply = Respond(request, mSettings, parameters);
    if (!reply && Streams() >= kMostStreams) {
        reply = ErrorReply(503, "too many watchers");
    }
    if (reply) {
        // While all places are taken others may be waiting: requests now and then must
        // not hold a place for ever.
        client.Reply(request, *reply, HasPlace());
        return;
    }
    if (Streams() == 0) {
        mNextComment = Clock::now() + mPeriods.comment;
    }
    client.OpenStream(request, parameters);
}

void HttpServer::FeedStreams()
{
    const bool commentIsDue = Clock::now() >= mNextComment;
    if (commentIsDue) {
        mNextComment = Clock::now() + mPeriods.comment;
    }
    for (Place &place : mPlaces) {
        if (!place.isOver && place.client.IsStream()) {
            if (commentIsDue) {
                place.client.AddComment();
            }
            Advance(place);
        }
    }
}

void HttpServer::DropLate()
{
    for (Place &place : mPlaces) {
        if (!place.isOver && place.client.Deadline() <= Clock::now()) {
            place.client.GiveUp();
            place.isOver = true;
        }
    }
}

void HttpServer::WatchListener()
{
    if (HasPlace() != mListens) {
        mListens = !mListens;
        const std::uint32_t events = mListens ? EPOLLIN : EPOLLERR; // which epoll always reports
        Control(mEpoll, EPOLL_CTL_MOD, mListener.Number(), events, nullptr);
    }
}

std::size_t HttpServer::Streams() const
{
    return static_cast<std::size_t>(
        std::count_if(mPlaces.begin(), mPlaces.end(),
                      [](const Place &place) { return place.client.IsStream(); }));
}

bool HttpServer::HasPlace() const
{
    return mPlaces.size() - Streams() < kMostRequests;
}

} // namespace configd
