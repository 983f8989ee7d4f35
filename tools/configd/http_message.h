#pragma once

#include "configd/stored_file.h"

#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

// Reads requests and writes answers of HTTP/1.1 and 1.0, without socket or clock.
namespace configd {

// In bytes: request line and header fields together, and likewise the text between
// two pieces of a chunked body.
constexpr std::size_t kLargestHeader = 8192;

// A request that was received whole.
struct Request
{
    std::string method;
    std::string path;  // without escapes and without the query
    std::string query; // as sent
    std::string body;
    bool isLocal = false;     // Host is 127.0.0.1 or localhost, and there is no Origin
    bool keepAlive = false;   // HTTP/1.1, and the client does not ask to close
    bool isChunkable = false; // HTTP/1.1: an answer may be sent in chunks
};

// An answer, whose body is always JSON.
struct Reply
{
    unsigned int status = 0;
    std::string body;
    std::string allow; // the methods of the path, with status 405
};

// A fault as clients get it, {"error":"..."}.
[[nodiscard]] Reply ErrorReply(unsigned int status, const std::string &error);

// A value of a query, without escapes; the first one if there are several, empty
// without one.
[[nodiscard]] std::string QueryValue(std::string_view query, std::string_view name);

// RequestReader parses the requests of one connection as their bytes arrive. Its
// memory is bounded by kLargestHeader, kLargestText and the largest piece fed. Its
// time is linear in the bytes fed. No input makes it throw.
class RequestReader
{
public:
    RequestReader();
    ~RequestReader();
    RequestReader(const RequestReader &) = delete;
    RequestReader &operator=(const RequestReader &) = delete;

    // Takes the next bytes of the connection.
    void Feed(std::string_view bytes);

    // Whether a part of the next request has arrived.
    [[nodiscard]] bool HasPartialRequest() const;
    // Whether its client waits for "100 Continue" before it sends the body. True
    // once for each request.
    [[nodiscard]] bool TakeExpectation();
    // The next complete request, if there is one.
    [[nodiscard]] std::unique_ptr<Request> TakeRequest();
    // The answer to bytes that are not a request. After it nothing more is read.
    [[nodiscard]] const std::optional<Reply> &Fault() const { return mFault; }

private:
    class Parser; // keeps the parser library's headers out of everybody else's

    void Parse();

    std::unique_ptr<Parser> mParser;
    std::string mPending; // bytes that the parser has not used
    std::optional<Reply> mFault;
};

// The answer as it is sent. For HEAD the body is left out; close says that the
// connection ends with it.
[[nodiscard]] std::string ReplyText(const Reply &reply, bool isHead, bool close, std::time_t now);

// The header of a stream of events, and a piece of its body. In HTTP/1.0 pieces
// are sent as they are.
[[nodiscard]] std::string StreamHeader(bool chunked, std::time_t now);
[[nodiscard]] std::string Chunk(const std::string &piece);

} // namespace configd
