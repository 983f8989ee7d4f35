#include "configd/http_server.h"

#include "configd/descriptor.h"
#include "configd/stored_file.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <climits>
#include <exception>
#include <netinet/in.h>
#include <sys/socket.h>
#include <system_error>

namespace configd {
namespace {

using std::chrono::milliseconds;

// Beside the watchers there is room for as many short requests at a time.
constexpr unsigned int kMostConnections = 2 * kMostWatchers;
// A connection on which nothing moves for as long, though it should, is closed.
constexpr unsigned int kIdleSeconds = 30;
constexpr std::size_t kStreamBlock = 4096;

// A request being received.
struct Request
{
    std::string body;
    bool tooLarge = false;

    void Append(std::string_view data)
    {
        // The rest of a body too large is read and dropped: who has not finished
        // sending would not read the answer.
        tooLarge = tooLarge || body.size() + data.size() > kLargestText;
        if (!tooLarge) {
            body.append(data);
        }
    }
};

void Require(bool done, const std::string &what)
{
    if (!done) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

Descriptor Listen(std::uint16_t port)
{
    const std::string what = "cannot listen on 127.0.0.1:" + std::to_string(port);
    Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    Require(socket.Number() >= 0, what);
    const int yes = 1; // the connections of a run before may linger
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    Require(setsockopt(socket.Number(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) == 0 &&
                bind(socket.Number(), reinterpret_cast<const sockaddr *>(&address),
                     sizeof address) == 0 &&
                listen(socket.Number(), SOMAXCONN) == 0,
            what);
    return socket;
}

struct DestroyResponse
{
    void operator()(MHD_Response *response) const { MHD_destroy_response(response); }
};
using Response = std::unique_ptr<MHD_Response, DestroyResponse>;

MHD_Result Send(MHD_Connection *connection, const Reply &reply)
{
    // The library copies the body, and only reads it, whatever its prototype says.
    const Response response(MHD_create_response_from_buffer(
        reply.body.size(), const_cast<char *>(reply.body.data()), MHD_RESPMEM_MUST_COPY));
    if (!response ||
        MHD_add_response_header(response.get(), MHD_HTTP_HEADER_CONTENT_TYPE, "application/json") !=
            MHD_YES ||
        (!reply.allow.empty() && MHD_add_response_header(response.get(), MHD_HTTP_HEADER_ALLOW,
                                                         reply.allow.c_str()) != MHD_YES)) {
        return MHD_NO;
    }
    return MHD_queue_response(connection, reply.status, response.get());
}

// A value of the query; empty when there is none.
std::string_view QueryValue(MHD_Connection *connection, std::string_view name)
{
    const char *value = nullptr;
    std::size_t length = 0;
    const MHD_Result found = MHD_lookup_connection_value_n(
        connection, MHD_GET_ARGUMENT_KIND, name.data(), name.size(), &value, &length);
    return found == MHD_YES && value != nullptr ? std::string_view(value, length)
                                                : std::string_view();
}

} // namespace

HttpServer::HttpServer(Settings &settings, std::uint16_t port, milliseconds commentPeriod)
    : mSettings(settings), mCommentPeriod(commentPeriod), mSeen(settings.Revision())
{
    Descriptor socket = Listen(port);
    mDaemon.reset(MHD_start_daemon(
        MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME, port, nullptr, nullptr, &OnRequest, this,
        MHD_OPTION_LISTEN_SOCKET, socket.Number(), MHD_OPTION_CONNECTION_LIMIT, kMostConnections,
        MHD_OPTION_CONNECTION_TIMEOUT, kIdleSeconds, MHD_OPTION_NOTIFY_COMPLETED, &OnCompleted,
        this, MHD_OPTION_END));
    Require(mDaemon != nullptr, "cannot start the HTTP server");
    static_cast<void>(socket.Release()); // the library closes it
}

HttpServer::~HttpServer()
{
    // Suspended connections could not be ended.
    WakeWatchers();
}

int HttpServer::Number() const
{
    return MHD_get_daemon_info(mDaemon.get(), MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd;
}

int HttpServer::WaitMs() const
{
    if (mResumed) {
        return 0;
    }
    milliseconds wait = milliseconds::max();
    MHD_UNSIGNED_LONG_LONG own = 0;
    if (MHD_get_timeout(mDaemon.get(), &own) == MHD_YES) {
        wait = milliseconds(std::min<MHD_UNSIGNED_LONG_LONG>(own, INT_MAX));
    }
    if (!mWatchers.empty()) {
        const auto left = std::chrono::ceil<milliseconds>(mNextComment - Clock::now());
        wait = std::min(wait, std::max(left, milliseconds::zero()));
    }
    return wait == milliseconds::max() ? -1 : static_cast<int>(wait.count());
}

void HttpServer::Run()
{
    mResumed = false;
    MHD_run(mDaemon.get());
    if (mSeen != mSettings.Revision()) {
        mSeen = mSettings.Revision();
        WakeWatchers();
    }
    if (!mWatchers.empty() && Clock::now() >= mNextComment) {
        Comment();
    }
}

MHD_Result HttpServer::OnRequest(void *server, MHD_Connection *connection, const char *url,
                                 const char *method, const char * /*version*/, const char *data,
                                 size_t *size, void **request)
try {
    if (*request == nullptr) { // the headers are there
        *request = std::make_unique<Request>().release();
        return MHD_YES;
    }
    auto &received = *static_cast<Request *>(*request);
    if (*size > 0) {
        received.Append({data, *size});
        *size = 0;
        return MHD_YES;
    }
    if (received.tooLarge) {
        return Send(connection, ErrorReply(MHD_HTTP_CONTENT_TOO_LARGE, "the body is too large"));
    }
    return static_cast<HttpServer *>(server)->Answer(connection, url, method, received.body);
} catch (const std::exception &) {
    return MHD_NO; // out of memory; closes the connection
}

void HttpServer::OnCompleted(void * /*server*/, MHD_Connection * /*connection*/, void **request,
                             MHD_RequestTerminationCode /*code*/)
{
    const std::unique_ptr<Request> ended(static_cast<Request *>(*request));
}

MHD_Result HttpServer::Answer(MHD_Connection *connection, const char *url, const char *method,
                              const std::string &body)
{
    if (std::string_view(url) == kWatchPath && std::string_view(method) == "GET") {
        return AnswerWatch(connection);
    }
    return Send(connection, Respond(method, url, body, mSettings));
}

MHD_Result HttpServer::AnswerWatch(MHD_Connection *connection)
{
    // The query's other value, the watcher's own name, is of no use here.
    std::vector<Parameter> parameters;
    if (const auto fault = ReadParameters(QueryValue(connection, "params"), parameters)) {
        return Send(connection, ErrorReply(MHD_HTTP_BAD_REQUEST, *fault));
    }
    if (mWatchers.size() >= kMostWatchers) {
        return Send(connection, ErrorReply(MHD_HTTP_SERVICE_UNAVAILABLE, "too many watchers"));
    }
    return OpenStream(connection, parameters);
}

MHD_Result HttpServer::OpenStream(MHD_Connection *connection,
                                  const std::vector<Parameter> &parameters)
{
    if (mWatchers.empty()) {
        mNextComment = Clock::now() + mCommentPeriod;
    }
    Watcher &watcher = mWatchers.emplace_back(Watcher{*this, connection, EventStream(parameters)});
    const Response response(MHD_create_response_from_callback(
        MHD_SIZE_UNKNOWN, kStreamBlock, &OnStreamRead, &watcher, &OnStreamEnd));
    if (!response) {
        OnStreamEnd(&watcher);
        return MHD_NO;
    }
    if (MHD_add_response_header(response.get(), MHD_HTTP_HEADER_CONTENT_TYPE,
                                "text/event-stream") != MHD_YES ||
        MHD_add_response_header(response.get(), MHD_HTTP_HEADER_CACHE_CONTROL, "no-cache") !=
            MHD_YES) {
        return MHD_NO;
    }
    return MHD_queue_response(connection, MHD_HTTP_OK, response.get());
}

ssize_t HttpServer::OnStreamRead(void *watcher, std::uint64_t /*position*/, char *buffer,
                                 size_t size)
try {
    auto &self = *static_cast<Watcher *>(watcher);
    const std::size_t length = self.stream.Read(self.server.mSettings.Current(), buffer, size);
    if (length == 0) {
        MHD_suspend_connection(self.connection);
        self.suspended = true;
    }
    return static_cast<ssize_t>(length);
} catch (const std::exception &) {
    return MHD_CONTENT_READER_END_WITH_ERROR; // out of memory; closes the connection
}

void HttpServer::OnStreamEnd(void *watcher)
{
    auto &watchers = static_cast<Watcher *>(watcher)->server.mWatchers;
    watchers.remove_if([watcher](const Watcher &other) { return &other == watcher; });
}

void HttpServer::Comment()
{
    mNextComment = Clock::now() + mCommentPeriod;
    for (Watcher &watcher : mWatchers) {
        watcher.stream.AddComment();
    }
    WakeWatchers();
}

void HttpServer::WakeWatchers()
{
    for (Watcher &watcher : mWatchers) {
        if (watcher.suspended) {
            watcher.suspended = false;
            mResumed = true;
            MHD_resume_connection(watcher.connection);
        }
    }
}

} // namespace configd
