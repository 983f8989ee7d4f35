#include "configd/http_message.h"

#include <gmock/gmock.h>

namespace configd {
namespace {

const std::string kHost = "Host: 127.0.0.1:8080\r\n";

// Reads a text in pieces of step bytes (0: in one piece). Returns the requests, one a line, and
// the fault.
std::string Read(const std::string &text, std::size_t step = 0)
{
    RequestReader reader;
    std::string read;
    step = step == 0 ? text.size() : step;
    for (std::size_t at = 0; at < text.size(); at += step) {
        reader.Feed(std::string_view(text).substr(at, step));
        while (const auto request = reader.TakeRequest()) {
            read += request->method + ' ' + request->path + " ? " + request->query + " : " +
                    request->body + (request->isLocal ? " local" : "") +
                    (request->keepAlive ? " keep-alive" : "") + '\n';
        }
    }
    return read + (reader.Fault()
                       ? std::to_string(reader.Fault()->status) + ' ' + reader.Fault()->body
                       : "");
}

std::string Get(const std::string &fields)
{
    return "GET /a HTTP/1.1\r\n" + fields + "\r\n";
}

TEST(RequestReader, ReadsRequestsInPiecesOfAnySize)
{
    const std::string get = "GET /api?a=b&c HTTP/1.1\r\n" + kHost + "\r\n";
    const std::string patch =
        "PATCH /api HTTP/1.1\r\nContent-Length: 7\r\n" + kHost + "\r\n{\"a\":1}";
    const std::string put = "PUT /%61%2Fb%zz% HTTP/1.1\r\n" + kHost +
                            "Transfer-Encoding: chunked\r\n\r\n"
                            "3\r\nabc\r\n1;x=y\r\nd\r\n0\r\nHost: evil\r\nOrigin: x\r\n\r\n";
    for (std::size_t step = 1; step < 200; ++step) {
        EXPECT_EQ(Read(get + patch + put + get, step),
                  "GET /api ? a=b&c :  local keep-alive\n"
                  "PATCH /api ?  : {\"a\":1} local keep-alive\n"
                  "PUT /a/b%zz% ?  : abcd local keep-alive\n"
                  "GET /api ? a=b&c :  local keep-alive\n")
            << step;
    }
}

TEST(RequestReader, RecognisesAConnectionThatTheClientCloses)
{
    EXPECT_EQ(Read(Get(kHost + "Connection: close\r\n")), "GET /a ?  :  local\n");
    EXPECT_EQ(Read("GET /a HTTP/1.0\r\nConnection: keep-alive\r\n" + kHost + "\r\n"),
              "GET /a ?  :  local\n");
}

TEST(RequestReader, RecognisesLocalHosts)
{
    for (const char *host : {"127.0.0.1", "127.0.0.1:8080", "127.0.0.1:1", "localhost",
                             "LocalHost:65535", " localhost ", "localhost:"}) {
        EXPECT_EQ(Read(Get("Host:" + std::string(host) + "\r\n")),
                  "GET /a ?  :  local keep-alive\n")
            << host;
    }
}

TEST(RequestReader, RecognisesOtherHosts)
{
    for (const char *host :
         {"", "evil.example", "evil.example:8080", "127.0.0.2", "127.0.0.1.evil.example",
          "localhost.evil.example", "localhost:8080.evil.example", "[::1]", "127.0.0.1:8080:1",
          "127.0.0.1 evil.example", "127.0.0.1,evil.example", "127.1", "x127.0.0.1",
          "localhost."}) {
        EXPECT_EQ(Read(Get("Host: " + std::string(host) + "\r\n")), "GET /a ?  :  keep-alive\n")
            << host;
    }
    EXPECT_EQ(Read(Get("")), "GET /a ?  :  keep-alive\n");
    EXPECT_EQ(Read("GET /a HTTP/1.0\r\n\r\n"), "GET /a ?  : \n");
    EXPECT_EQ(Read(Get(kHost + kHost)), "GET /a ?  :  keep-alive\n");
    EXPECT_EQ(Read(Get("Host: evil.example\r\n" + kHost)), "GET /a ?  :  keep-alive\n");
    EXPECT_EQ(Read(Get(kHost + "Host: evil.example\r\n")), "GET /a ?  :  keep-alive\n");
}

TEST(RequestReader, RecognisesRequestsOfWebPages)
{
    for (const char *origin : {"http://evil.example", "null", "", "http://127.0.0.1:8080"}) {
        EXPECT_EQ(Read(Get(kHost + "Origin: " + origin + "\r\n")), "GET /a ?  :  keep-alive\n")
            << origin;
    }
}

TEST(RequestReader, AnswersMalformedRequestsWithAnErrorObject)
{
    const std::vector<std::pair<std::string, std::string>> rows{
        {"\r\n\r\n", "bad method"},
        {"GARBAGE\r\n\r\n", "bad method"},
        {"\x16\x03\x01\x02", "bad method"},
        {"GET  HTTP/1.1\r\n\r\n", "bad target"},
        {Get("no colon\r\n"), "bad field"},
        {Get("a: b\x01\r\n"), "bad value"},
        {Get("Content-Length: -1\r\n"), "bad Content-Length"},
        {Get("Content-Length: 99999999999999999999\r\n"), "bad Content-Length"},
        {Get("Content-Length: 1\r\nTransfer-Encoding: chunked\r\n"), "bad Transfer-Encoding"},
        {Get("Transfer-Encoding: gzip\r\n"), "bad Transfer-Encoding"},
        {Get("Transfer-Encoding: chunked\r\n") + "zz\r\n", "bad chunk"}};
    for (const auto &[text, what] : rows) {
        EXPECT_EQ(Read(text), "400 {\"error\":\"malformed HTTP: " + what + "\"}") << text;
    }
    EXPECT_EQ(Read("GET /a HTTP/2.0\r\n\r\n"),
              R"(505 {"error":"the version of HTTP is neither 1.0 nor 1.1"})");
}

// The text of the error depends on the version of Boost.
TEST(RequestReader, RefusesTwoLengths)
{
    EXPECT_THAT(Read(Get("Content-Length: 1\r\nContent-Length: 2\r\n")),
                testing::AnyOf(R"(400 {"error":"malformed HTTP: bad Content-Length"})",
                               R"(400 {"error":"malformed HTTP: multiple Content-Length"})"));
}

TEST(RequestReader, ReadsNothingAfterAFault)
{
    EXPECT_EQ(Read("GARBAGE\r\n\r\n" + Get(kHost), 1),
              R"(400 {"error":"malformed HTTP: bad method"})");
}

TEST(RequestReader, LimitsTheHeaderInPiecesOfAnySize)
{
    const std::string least = Get("A: \r\n");
    const std::string largest = Get("A: " + std::string(8192 - least.size(), 'a') + "\r\n");
    const std::string over = Get("A: " + std::string(8193 - least.size(), 'a') + "\r\n");
    const std::string endless = "GET /a HTTP/1.1\r\nA: " + std::string(20000, 'a');
    const std::string longLine = "GET /" + std::string(20000, 'a');
    const std::string refused = R"(431 {"error":"the header has more than 8192 bytes"})";
    for (const std::size_t step : {1U, 7U, 1000U, 8191U, 8192U, 16384U}) {
        EXPECT_EQ(Read(largest, step), "GET /a ?  :  keep-alive\n") << step;
        EXPECT_EQ(Read(over, step), refused) << step;
        EXPECT_EQ(Read(endless, step), refused) << step;
        EXPECT_EQ(Read(longLine, step), refused) << step;
    }
}

TEST(RequestReader, LimitsTheBodyWithAndWithoutChunks)
{
    const std::string put = "PUT /a HTTP/1.1\r\n";
    const std::string largest(65536, 'a');
    const std::string refused = R"(413 {"error":"the body has more than 65536 bytes"})";
    EXPECT_EQ(Read(put + "Content-Length: 65536\r\n\r\n" + largest),
              "PUT /a ?  : " + largest + " keep-alive\n");
    EXPECT_EQ(Read(put + "Content-Length: 65537\r\n\r\n"), refused);
    const std::string chunk = "8000\r\n" + std::string(32768, 'a') + "\r\n";
    EXPECT_EQ(Read(put + "Transfer-Encoding: chunked\r\n\r\n" + chunk + chunk + "0\r\n\r\n", 4096),
              "PUT /a ?  : " + largest + " keep-alive\n");
    EXPECT_EQ(Read(put + "Transfer-Encoding: chunked\r\n\r\n" + chunk + chunk + "1\r\n", 4096),
              refused);
}

// The parser reads the size of such a chunk again with each piece that arrives.
TEST(RequestReader, CountsAChunkOnceWhoseExtensionHasALineEnd)
{
    const std::string start = "PUT /a HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n3e8;a=\"\r\n" +
                              std::string(200, 'a') + '"';
    for (const std::size_t step : {1U, 7U, 1000U}) {
        EXPECT_EQ(Read(start + "=\r\n", step),
                  R"(400 {"error":"malformed HTTP: bad chunk extension"})")
            << step;
    }
}

TEST(RequestReader, ReportsOnceThatTheClientExpects100Continue)
{
    RequestReader reader;
    reader.Feed("PUT /a HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 2\r\n");
    EXPECT_FALSE(reader.TakeExpectation());
    reader.Feed("\r\n");
    EXPECT_TRUE(reader.TakeExpectation());
    EXPECT_FALSE(reader.TakeExpectation());
    reader.Feed("ab");
    EXPECT_EQ(reader.TakeRequest()->body, "ab");
    reader.Feed("PUT /a HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 2\r\n\r\nab");
    EXPECT_FALSE(reader.TakeExpectation()); // the body has arrived already
}

TEST(RequestReader, ReportsAPartialRequest)
{
    RequestReader reader;
    EXPECT_FALSE(reader.HasPartialRequest());
    reader.Feed("G");
    EXPECT_TRUE(reader.HasPartialRequest());
    reader.Feed("ET /a HTTP/1.1\r\n\r\n");
    EXPECT_NE(reader.TakeRequest(), nullptr);
    EXPECT_FALSE(reader.HasPartialRequest());
    reader.Feed("GET /a HTTP/1.1\r\nContent-Length: 1\r\n\r\n");
    EXPECT_TRUE(reader.HasPartialRequest());
}

TEST(QueryValue, IsTheFirstValueOfTheName)
{
    EXPECT_EQ(QueryValue("system=x&params=24,19", "params"), "24,19");
    EXPECT_EQ(QueryValue("params=19%2C24&params=1", "params"), "19,24");
    for (const char *query : {"", "params", "params=", "&&", "xparams=1", "Params=1", "=1"}) {
        EXPECT_EQ(QueryValue(query, "params"), "") << query;
    }
    EXPECT_EQ(QueryValue("&params=1&", "params"), "1");
}

TEST(ReplyText, IsAnHttpResponse)
{
    const std::time_t now = 1795233476;
    EXPECT_EQ(ReplyText({200, "{}", {}}, false, false, now),
              "HTTP/1.1 200 OK\r\n"
              "Date: Sat, 21 Nov 2026 03:57:56 GMT\r\n"
              "Content-Type: application/json\r\n"
              "Content-Length: 2\r\n"
              "\r\n"
              "{}");
    EXPECT_EQ(ReplyText({405, "{}", "GET, PUT"}, true, true, now),
              "HTTP/1.1 405 Method Not Allowed\r\n"
              "Date: Sat, 21 Nov 2026 03:57:56 GMT\r\n"
              "Content-Type: application/json\r\n"
              "Content-Length: 2\r\n"
              "Allow: GET, PUT\r\n"
              "Connection: close\r\n"
              "\r\n");
}

TEST(StreamHeader, AnnouncesChunksOrTheEndOfTheConnection)
{
    const std::time_t now = 1795233476;
    EXPECT_EQ(StreamHeader(true, now), "HTTP/1.1 200 OK\r\n"
                                       "Date: Sat, 21 Nov 2026 03:57:56 GMT\r\n"
                                       "Content-Type: text/event-stream\r\n"
                                       "Cache-Control: no-cache\r\n"
                                       "Transfer-Encoding: chunked\r\n"
                                       "\r\n");
    EXPECT_EQ(StreamHeader(false, now), "HTTP/1.1 200 OK\r\n"
                                        "Date: Sat, 21 Nov 2026 03:57:56 GMT\r\n"
                                        "Content-Type: text/event-stream\r\n"
                                        "Cache-Control: no-cache\r\n"
                                        "Connection: close\r\n"
                                        "\r\n");
    EXPECT_EQ(Chunk(std::string(58, 'a')), "3a\r\n" + std::string(58, 'a') + "\r\n");
}

} // namespace
} // namespace configd
