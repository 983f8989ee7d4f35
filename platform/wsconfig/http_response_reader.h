#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace wsconfig {

// HttpResponseReader parses one HTTP/1.x response while it arrives. The body may have a
// given length, be chunked, or last until the connection is closed; it is passed on and
// not kept. The header, and the lines between two chunks of the body, may have
// kMaxHeaderBytes each. The class uses no socket and no clock. Not thread-safe.
//
// No input makes it throw; only lack of memory does.
class HttpResponseReader
{
public:
    HttpResponseReader();
    ~HttpResponseReader();
    HttpResponseReader(const HttpResponseReader &) = delete;
    HttpResponseReader &operator=(const HttpResponseReader &) = delete;

    // Parses the next bytes of the connection and appends the part of the body that they
    // contain, without chunk headers. Returns false when this is not a valid response or when a
    // bound is exceeded: error() has the reason, and all later calls return false, too.
    // Bytes after the response's end are ignored.
    [[nodiscard]] bool feed(std::string_view bytes, std::string &body);

    // Whether the header is complete; status and contentType are valid from then on.
    [[nodiscard]] bool headerDone() const;
    // The status code.
    [[nodiscard]] int status() const;
    // The value of the first "Content-Type" field; empty if there is none.
    [[nodiscard]] const std::string &contentType() const;

    // Whether the body is complete. A body that has no length and is not chunked ends with
    // the connection, and done() stays false.
    [[nodiscard]] bool done() const;

    // The reason why feed returned false, a fixed text; empty before.
    [[nodiscard]] const std::string &error() const;

private:
    class Parser; // defined in the .cpp file, because only this file needs Boost

    std::unique_ptr<Parser> m_parser;
    std::string m_pending; // bytes that the parser can use only with the next ones
    std::string m_error;
};

} // namespace wsconfig
