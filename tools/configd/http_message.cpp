#include "configd/http_message.h"

#include "configd/json_reader.h"

// The parser asserts that the end of a chunked body never arrives as exactly four bytes.
// This may happen, and the parser handles it correctly.
#define BOOST_DISABLE_ASSERTS

#include <algorithm>
#include <array>
#include <boost/beast/http/basic_parser.hpp>
#include <boost/beast/http/error.hpp>
#include <charconv>
#include <cstdint>
#include <limits>

namespace http = boost::beast::http;
using boost::beast::error_code;

namespace configd {
namespace {

using View = boost::beast::string_view;

constexpr const char *kVersion = "HTTP/1.1 ";

struct Reason
{
    unsigned int status;
    const char *phrase;
};
constexpr std::array<Reason, 11> kReasons{{{200, "OK"},
                                           {400, "Bad Request"},
                                           {403, "Forbidden"},
                                           {404, "Not Found"},
                                           {405, "Method Not Allowed"},
                                           {408, "Request Timeout"},
                                           {409, "Conflict"},
                                           {413, "Content Too Large"},
                                           {431, "Request Header Fields Too Large"},
                                           {503, "Service Unavailable"},
                                           {505, "HTTP Version Not Supported"}}};

std::string StatusLine(unsigned int status)
{
    const auto *found = std::find_if(kReasons.begin(), kReasons.end(),
                                     [status](const Reason &row) { return row.status == status; });
    return kVersion + std::to_string(status) + ' ' +
           (found == kReasons.end() ? "" : found->phrase) + "\r\n";
}

std::string DateField(std::time_t now)
{
    std::array<char, 64> text{};
    std::tm parts{};
    gmtime_r(&now, &parts);
    const std::size_t length =
        std::strftime(text.data(), text.size(), "Date: %a, %d %b %Y %H:%M:%S GMT\r\n", &parts);
    return {text.data(), length};
}

// The byte that a text of two hexadecimal digits stands for; nothing for any other text.
std::optional<char> Octet(std::string_view digits)
{
    unsigned char octet = 0;
    const char *end = digits.data() + digits.size();
    const auto result = std::from_chars(digits.data(), end, octet, 16);
    if (digits.size() != 2 || result.ec != std::errc() || result.ptr != end) {
        return std::nullopt;
    }
    return static_cast<char>(octet);
}

// Resolves %XX. A percent sign without two hexadecimal digits is left as it is.
std::string Unescape(std::string_view text)
{
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto octet = text[i] == '%' ? Octet(text.substr(i + 1, 2)) : std::nullopt;
        plain += octet.value_or(text[i]);
        i += octet ? 2 : 0;
    }
    return plain;
}

bool IsPort(View text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// "127.0.0.1" or "localhost", with or without a port.
bool IsLocalHost(View value)
{
    const std::size_t colon = value.find(':');
    const View name = value.substr(0, colon);
    return (name == "127.0.0.1" || boost::beast::iequals(name, "localhost")) &&
           (colon == View::npos || IsPort(value.substr(colon + 1)));
}

Reply FaultReply(const error_code &error)
{
    if (error == http::error::header_limit) {
        return ErrorReply(431,
                          "the header has more than " + std::to_string(kMaxHeaderBytes) + " bytes");
    }
    if (error == http::error::body_limit) {
        return ErrorReply(413, "the body has more than " + std::to_string(kLargestText) + " bytes");
    }
    if (error == http::error::bad_version) {
        return ErrorReply(505, "the version of HTTP is neither 1.0 nor 1.1");
    }
    return ErrorReply(400, "malformed HTTP: " + error.message());
}

} // namespace

// Parser collects the parts of a request that the service uses.
class RequestReader::Parser : public http::basic_parser<true>
{
public:
    Parser()
    {
        header_limit(2 * kMaxHeaderBytes); // never reached
    }

    // Parses more bytes and returns how many were used. This class checks the limits of header and
    // body, because the parser's own checks depend on the sizes of the pieces: it counts the size
    // of a chunk each time it reads that size again with more bytes.
    std::size_t Step(std::string_view bytes, error_code &error)
    {
        body_limit(std::numeric_limits<std::uint64_t>::max());
        const bool inHeader = !is_header_done();
        const std::size_t used = put(boost::asio::const_buffer(bytes.data(), bytes.size()), error);
        const std::size_t unused = error == http::error::need_more ? bytes.size() - used : 0;
        mHeaderSize = inHeader ? mHeaderSize + used : 0;
        if (mHeaderSize + unused > kMaxHeaderBytes) {
            error = http::error::header_limit;
        }
        return used;
    }

    std::unique_ptr<Request> request = std::make_unique<Request>();
    bool expects = false; // the client waits for "100 Continue"

private:
    void on_request_impl(http::verb, View method, View target, int version, error_code &) override
    {
        const std::size_t mark = target.find('?');
        const View path = target.substr(0, mark);
        request->method.assign(method.data(), method.size());
        request->path = Unescape({path.data(), path.size()});
        if (mark != View::npos) {
            request->query.assign(target.data() + mark + 1, target.size() - mark - 1);
        }
        request->isChunkable = version == 11;
    }
    void on_response_impl(int, View, int, error_code &) override {}
    void on_field_impl(http::field name, View, View value, error_code &error) override
    {
        if (is_header_done()) {
            return; // trailer fields, after the last chunk
        }
        if (name == http::field::host) {
            ++mHosts;
            mIsLocalHost = IsLocalHost(value);
        } else if (name == http::field::origin) {
            mHasOrigin = true;
        } else if (name == http::field::expect) {
            expects = boost::beast::iequals(value, "100-continue");
        } else if (name == http::field::transfer_encoding &&
                   !boost::beast::iequals(value, "chunked")) {
            error = http::error::bad_transfer_encoding;
        }
    }
    void on_header_impl(error_code &error) override
    {
        LimitBody(content_length().value_or(0), error);
        request->isLocal = mHosts == 1 && mIsLocalHost && !mHasOrigin;
        request->keepAlive = request->isChunkable && keep_alive();
    }
    void on_body_init_impl(const boost::optional<std::uint64_t> &, error_code &) override {}
    std::size_t on_body_impl(View piece, error_code &) override { return Take(piece); }
    void on_chunk_header_impl(std::uint64_t size, View, error_code &error) override
    {
        LimitBody(size, error);
    }
    std::size_t on_chunk_body_impl(std::uint64_t, View piece, error_code &) override
    {
        return Take(piece);
    }
    void on_finish_impl(error_code &) override {}

    // Refuses to add so many bytes to the body if it would exceed its limit.
    void LimitBody(std::uint64_t bytes, error_code &error) const
    {
        if (bytes > kLargestText - request->body.size()) {
            error = http::error::body_limit;
        }
    }

    std::size_t Take(View piece)
    {
        request->body.append(piece.data(), piece.size());
        return piece.size();
    }

    std::size_t mHeaderSize = 0; // bytes of an incomplete header so far
    unsigned int mHosts = 0;     // the number of Host fields
    bool mIsLocalHost = false;   // of the last Host field
    bool mHasOrigin = false;
};

Reply ErrorReply(unsigned int status, const std::string &error)
{
    // The message may contain a file name, which need not be UTF-8.
    return {status, "{\"error\":" + JsonString(error) + '}', {}};
}

std::string QueryValue(std::string_view query, std::string_view name)
{
    while (!query.empty()) {
        const std::string_view pair = query.substr(0, query.find('&'));
        const std::size_t equals = pair.find('=');
        if (equals != std::string_view::npos && pair.substr(0, equals) == name) {
            return Unescape(pair.substr(equals + 1));
        }
        query.remove_prefix(std::min(pair.size() + 1, query.size()));
    }
    return {};
}

RequestReader::RequestReader() : mParser(std::make_unique<Parser>()) {}

RequestReader::~RequestReader() = default;

void RequestReader::Feed(std::string_view bytes)
{
    mPending += bytes;
    Parse();
}

bool RequestReader::HasPartialRequest() const
{
    return mParser->got_some() || !mPending.empty();
}

bool RequestReader::TakeExpectation()
{
    return mParser->is_header_done() && !mParser->is_done() &&
           std::exchange(mParser->expects, false);
}

std::unique_ptr<Request> RequestReader::TakeRequest()
{
    if (mFault || !mParser->is_done()) {
        return nullptr;
    }
    auto request = std::move(mParser->request);
    mParser = std::make_unique<Parser>();
    Parse();
    return request;
}

void RequestReader::Parse()
{
    std::size_t at = 0;
    error_code error;
    while (!mFault && !error && !mParser->is_done() && at < mPending.size()) {
        at += mParser->Step(std::string_view(mPending).substr(at), error);
    }
    mPending.erase(0, at);
    if (error && error != http::error::need_more) {
        mFault = FaultReply(error);
    }
}

std::string ReplyText(const Reply &reply, bool isHead, bool close, std::time_t now)
{
    return StatusLine(reply.status) + DateField(now) +
           "Content-Type: application/json\r\nContent-Length: " +
           std::to_string(reply.body.size()) + "\r\n" +
           (reply.allow.empty() ? "" : "Allow: " + reply.allow + "\r\n") +
           (close ? "Connection: close\r\n\r\n" : "\r\n") + (isHead ? "" : reply.body);
}

std::string StreamHeader(bool chunked, std::time_t now)
{
    return StatusLine(200) + DateField(now) +
           "Content-Type: text/event-stream\r\nCache-Control: no-cache\r\n" +
           (chunked ? "Transfer-Encoding: chunked\r\n\r\n" : "Connection: close\r\n\r\n");
}

std::string Chunk(const std::string &piece)
{
    std::array<char, 16> size{};
    const auto end = std::to_chars(size.data(), size.data() + size.size(), piece.size(), 16);
    return std::string(size.data(), end.ptr) + "\r\n" + piece + "\r\n";
}

} // namespace configd
