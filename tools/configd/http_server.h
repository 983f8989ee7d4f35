#pragma once

#include "configd/api.h"

#include <chrono>
#include <list>
#include <memory>
#include <microhttpd.h>

namespace configd {

// A stream says something at least this often; clients count on 15 s.
constexpr std::chrono::seconds kCommentPeriod{10};

// More watchers than this get status 503.
constexpr std::size_t kMostWatchers = 64;

// HttpServer answers requests on the loopback, and feeds the streams of events.
// It has no thread: its owner's loop waits for Number() at most WaitMs(), and
// then calls Run(), which never waits. Nothing that a client sends or leaves
// undone makes it throw, block or grow without bound.
class HttpServer
{
public:
    // Listens on 127.0.0.1 and a port. Throws std::system_error when it cannot.
    // REQUIRES: settings outlives the server.
    HttpServer(Settings &settings, std::uint16_t port,
               std::chrono::milliseconds commentPeriod = kCommentPeriod);
    ~HttpServer(); // ends every connection
    HttpServer(const HttpServer &) = delete;
    HttpServer &operator=(const HttpServer &) = delete;

    // A descriptor that is readable when there is something to do.
    [[nodiscard]] int Number() const;
    // How long to wait for it at most, in milliseconds; -1: for ever.
    [[nodiscard]] int WaitMs() const;
    // Does what there is to do. To be called after a change of the settings, too.
    void Run();

private:
    using Clock = std::chrono::steady_clock;

    struct Watcher
    {
        HttpServer &server;
        MHD_Connection *connection;
        EventStream stream;
        bool suspended = false; // has been sent everything
    };

    struct Stop
    {
        void operator()(MHD_Daemon *daemon) const { MHD_stop_daemon(daemon); }
    };

    // What libmicrohttpd calls.
    static MHD_Result OnRequest(void *server, MHD_Connection *connection, const char *url,
                                const char *method, const char *version, const char *data,
                                size_t *size, void **request);
    static void OnCompleted(void *server, MHD_Connection *connection, void **request,
                            MHD_RequestTerminationCode code);
    static ssize_t OnStreamRead(void *watcher, std::uint64_t position, char *buffer, size_t size);
    static void OnStreamEnd(void *watcher);

    MHD_Result Answer(MHD_Connection *connection, const char *url, const char *method,
                      const std::string &body);
    MHD_Result AnswerWatch(MHD_Connection *connection);
    MHD_Result OpenStream(MHD_Connection *connection, const std::vector<Parameter> &parameters);
    void Comment();
    void WakeWatchers();

    Settings &mSettings;
    const Clock::duration mCommentPeriod;
    Clock::time_point mNextComment;
    unsigned int mSeen;    // the revision of the settings that the watchers were woken for
    bool mResumed = false; // watchers were; the library does not say so by Number()
    std::list<Watcher> mWatchers;
    std::unique_ptr<MHD_Daemon, Stop> mDaemon; // the last, for it ends the watchers
};

} // namespace configd
