#pragma once

#include "configd/stored_file.h"

#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

// Reads requests and composes answers of HTTP/1.1 and 1.0. Knows no socket and no clock.
namespace configd {

// The limit for the request line and all header fields together. It also applies to the
// lines between two chunks of a body.
constexpr std::size_t kMaxHeaderBytes = 8192;

// A complete request.
struct Request
{
    std::string method;
    std::string path;  // with %XX resolved, without the query
    std::string query; // as received
    std::string body;
    bool isLocal = false;     // Host is 127.0.0.1 or localhost, and Origin is absent
    bool keepAlive = false;   // HTTP/1.1 without "Connection: close"
    bool isChunkable = false; // HTTP/1.1: the answer may be sent in chunks
};

// An answer.
struct Reply
{
    unsigned int status = 0;
    std::string body;  // JSON
    std::string allow; // with status 405: the methods of the path
};

// An answer with the body {"error":"..."}.
[[nodiscard]] Reply ErrorReply(unsigned int status, const std::string &error);

// The first value of this name in a query, with %XX resolved. Empty if there is none.
[[nodiscard]] std::string QueryValue(std::string_view query, std::string_view name);

// RequestReader parses the requests of one connection as their bytes arrive. Its memory
// is bounded by kMaxHeaderBytes, kLargestText and the largest piece passed to Feed. Its
// time is linear in the number of bytes. No input makes it throw. Owned by one thread.
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
    // Returns true once for each request whose client waits for "100 Continue" before it
    // sends the body.
    [[nodiscard]] bool TakeExpectation();
    // Returns the next complete request, or null.
    [[nodiscard]] std::unique_ptr<Request> TakeRequest();
    // The answer to input that is not a valid request. All further input is ignored.
    [[nodiscard]] const std::optional<Reply> &Fault() const { return mFault; }

private:
    class Parser; // defined in the .cpp file, because only this file needs Boost

    void Parse();

    std::unique_ptr<Parser> mParser;
    std::string mPending; // bytes that are not parsed yet
    std::optional<Reply> mFault;
};

// The text of an answer: for HEAD without the body; with "Connection: close" if close is
// set.
[[nodiscard]] std::string ReplyText(const Reply &reply, bool isHead, bool close, std::time_t now);

// The header of a stream of events, and a chunk of its body. In HTTP/1.0 (chunked is
// false) the body is sent without chunks.
[[nodiscard]] std::string StreamHeader(bool chunked, std::time_t now);
[[nodiscard]] std::string Chunk(const std::string &piece);

} // namespace configd
