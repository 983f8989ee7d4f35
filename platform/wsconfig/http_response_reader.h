#pragma once

#include <memory>
#include <string>
#include <string_view>

// HttpResponseReader takes one HTTP/1.x response apart as it comes in, with a
// body of a given length, in chunks, or up to the end of the connection. It
// knows no socket and no clock, and never throws for what it is fed.
//
// The header is bounded by kMaxHeaderBytes, as is what stands between two
// pieces of a chunked body. The body itself is handed through, not kept.
class HttpResponseReader
{
public:
    HttpResponseReader();
    ~HttpResponseReader();
    HttpResponseReader(const HttpResponseReader &) = delete;
    HttpResponseReader &operator=(const HttpResponseReader &) = delete;

    // Takes the next bytes of the connection and appends to body what they hold
    // of it, free of chunk marks. Returns false when this is no response or is
    // over a bound; error() then tells why, and nothing more can be read.
    // Bytes after the response's end are passed over.
    [[nodiscard]] bool feed(std::string_view bytes, std::string &body);

    // Whether the header is complete; what follows here holds from then on.
    [[nodiscard]] bool headerDone() const;
    [[nodiscard]] int status() const;
    // The value of "Content-Type", the first one; empty without one.
    [[nodiscard]] const std::string &contentType() const;

    // Whether the body has come to its end. One without a length and not in
    // chunks ends with the connection alone.
    [[nodiscard]] bool done() const;

    // Why feed returned false, as text of this program's own; empty before.
    [[nodiscard]] const std::string &error() const;

private:
    class Parser; // keeps the parser library's headers out of everybody else's

    std::unique_ptr<Parser> m_parser;
    std::string m_pending; // bytes that the parser could not use by themselves
    std::string m_error;
};
