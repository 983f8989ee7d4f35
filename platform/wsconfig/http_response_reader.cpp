#include "wsconfig/http_response_reader.h"

#include "wsconfig/watch_policy.h"

// An empty chunked body is "0\r\n\r\n". If "0\r\n" arrives first, and then "\r" without "\n", an
// assertion in the parser fails, although the parser handles this case. With assertions, the
// daemon would end.
#define BOOST_DISABLE_ASSERTS

#include <boost/beast/http/basic_parser.hpp>
#include <boost/beast/http/error.hpp>
#include <cstdint>
#include <limits>

namespace http = boost::beast::http;
using boost::beast::error_code;

namespace wsconfig {

// Keeps those parts of a response that a watch needs.
class HttpResponseReader::Parser : public http::basic_parser<false>
{
public:
    Parser()
    {
        eager(true);
        header_limit(kMaxHeaderBytes);
        // An event stream has no end. boost::none instead of the largest value would
        // refuse every body that has a Content-Length.
        body_limit(std::numeric_limits<std::uint64_t>::max());
    }

    int statusCode = 0;
    std::string type;
    std::string *body = nullptr; // receives the body during feed()

private:
    using View = boost::beast::string_view;

    void on_request_impl(http::verb, View, View, int, error_code &) override {}
    void on_response_impl(int code, View, int, error_code &) override { statusCode = code; }
    void on_field_impl(http::field name, View, View value, error_code &) override
    {
        // Fields after the last chunk (trailers) do not describe the body.
        if (!is_header_done() && name == http::field::content_type && type.empty()) {
            type.assign(value.data(), value.size());
        }
    }
    void on_header_impl(error_code &) override {}
    void on_body_init_impl(const boost::optional<std::uint64_t> &, error_code &) override {}
    std::size_t on_body_impl(View piece, error_code &) override { return take(piece); }
    void on_chunk_header_impl(std::uint64_t, View, error_code &) override {}
    std::size_t on_chunk_body_impl(std::uint64_t, View piece, error_code &) override
    {
        return take(piece);
    }
    void on_finish_impl(error_code &) override {}

    std::size_t take(View piece)
    {
        body->append(piece.data(), piece.size());
        return piece.size();
    }
};

HttpResponseReader::HttpResponseReader() : m_parser(std::make_unique<Parser>()) {}

HttpResponseReader::~HttpResponseReader() = default;

bool HttpResponseReader::feed(std::string_view bytes, std::string &body)
{
    if (!m_error.empty() || done()) {
        return m_error.empty();
    }
    m_pending.append(bytes);
    m_parser->body = &body;
    error_code error;
    const std::size_t used =
        m_parser->put(boost::asio::const_buffer(m_pending.data(), m_pending.size()), error);
    m_pending.erase(0, used);
    if (error == http::error::need_more) {
        error = m_pending.size() > kMaxHeaderBytes ? http::error::header_limit : error_code();
    }
    if (error) {
        m_error = error.message();
    }
    return m_error.empty();
}

bool HttpResponseReader::headerDone() const
{
    return m_parser->is_header_done();
}

int HttpResponseReader::status() const
{
    return m_parser->statusCode;
}

const std::string &HttpResponseReader::contentType() const
{
    return m_parser->type;
}

bool HttpResponseReader::done() const
{
    return m_parser->is_done();
}

const std::string &HttpResponseReader::error() const
{
    return m_error;
}

} // namespace wsconfig
