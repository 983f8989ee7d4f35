#pragma once

#include "configd/api.h"
#include "configd/client.h"

#include <list>

namespace configd {

// Streams over this number get status 503. Requests have places of their own:
// when all are taken, further connections wait until one is free.
constexpr std::size_t kMostStreams = 64;
constexpr std::size_t kMostRequests = 128;

struct Periods
{
    std::chrono::milliseconds patience{10000}; // see Client
    std::chrono::milliseconds comment{10000};  // of comments on streams; clients count on 15 s
};

// HttpServer answers requests, and feeds the streams of events. It has no thread:
// its owner's loop waits for Number() at most WaitMs(), and then calls Run(). Run
// does not wait, except for the medium when a request changes a file. Whatever
// clients do, their number, memory and time are bounded.
class HttpServer
{
public:
    // Throws std::system_error when the system refuses what it needs; so does Run.
    // REQUIRES: socket listens and does not block; settings outlives the server.
    HttpServer(Settings &settings, Descriptor socket, const Periods &periods = {});

    // A descriptor that is readable when there is something to do.
    [[nodiscard]] int Number() const { return mEpoll.Number(); }
    // How long to wait for it at most, in milliseconds; -1: for ever.
    [[nodiscard]] int WaitMs() const;
    // Does what there is to do. To be called after a change of the settings, too.
    void Run();

private:
    using Clock = Client::Clock;

    struct Place
    {
        Place(Descriptor socket, Clock::duration patience)
            : client(std::move(socket), patience), awaited(client.Events())
        {
        }

        Client client;
        std::uint32_t awaited; // the events that epoll reports
        bool isOver = false;   // the connection has ended
    };

    void Accept();
    void Serve(Place &place, std::uint32_t events);
    void Advance(Place &place);
    void Answer(Client &client, const Request &request);
    void FeedStreams();
    void DropLate();
    void WatchListener();

    [[nodiscard]] std::size_t Streams() const;
    [[nodiscard]] bool HasPlace() const; // for a request

    Settings &mSettings;
    const Periods mPeriods;
    const Descriptor mListener;
    const Descriptor mEpoll;
    bool mListens = true;
    Clock::time_point mNextComment;
    std::list<Place> mPlaces;
};

} // namespace configd
