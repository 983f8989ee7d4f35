#include "wsconfig/http_response_reader.h"

#include "wsconfig/watch_policy.h"

#include <gtest/gtest.h>
#include <string>

using namespace wsconfig;

namespace {

struct Result
{
    bool good = true;
    bool headerDone = false;
    int status = 0;
    std::string type;
    std::string body;
    bool done = false;

    bool operator==(const Result &other) const
    {
        return good == other.good && headerDone == other.headerDone && status == other.status &&
               type == other.type && body == other.body && done == other.done;
    }
};

std::ostream &operator<<(std::ostream &out, const Result &result)
{
    return out << result.good << result.headerDone << ' ' << result.status << ' ' << result.type
               << ' ' << result.body << ' ' << result.done;
}

Result Read(const std::vector<std::string_view> &pieces)
{
    HttpResponseReader reader;
    Result result;
    for (const std::string_view piece : pieces) {
        result.good = reader.feed(piece, result.body) && result.good;
    }
    result.headerDone = reader.headerDone();
    result.status = result.headerDone ? reader.status() : 0;
    result.type = result.headerDone ? reader.contentType() : "";
    result.done = reader.done();
    EXPECT_EQ(result.good, reader.error().empty());
    return result;
}

// Reads a response in one piece, in every pair of pieces, and byte by byte. The result must
// be the same each time.
Result ReadInEverySplit(std::string_view response)
{
    Result whole = Read({response});
    std::vector<std::string_view> bytes;
    for (std::size_t cut = 0; cut < response.size(); ++cut) {
        EXPECT_EQ(Read({response.substr(0, cut), response.substr(cut)}), whole) << "cut " << cut;
        bytes.push_back(response.substr(cut, 1));
    }
    EXPECT_EQ(Read(bytes), whole) << "byte by byte";
    return whole;
}

Result Expected(int status, const char *type, const char *body, bool done)
{
    return {true, true, status, type, body, done};
}

std::string ErrorOf(const std::string &response)
{
    HttpResponseReader reader;
    std::string body;
    EXPECT_FALSE(reader.feed(response, body));
    return reader.error();
}

const std::string kHeader = "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n";
const std::string kChunked = kHeader + "Transfer-Encoding: chunked\r\n\r\n";

} // namespace

TEST(HttpResponseReader, ReadsABodyThatEndsWithTheConnection)
{
    EXPECT_EQ(ReadInEverySplit(kHeader + "\r\nsome body"),
              Expected(200, "text/event-stream", "some body", false));
}

TEST(HttpResponseReader, ReadsABodyOfAGivenLength)
{
    EXPECT_EQ(ReadInEverySplit(kHeader + "Content-Length: 4\r\n\r\nsome body"),
              Expected(200, "text/event-stream", "some", true));
    EXPECT_EQ(ReadInEverySplit("HTTP/1.1 503 Busy\r\nContent-Length: 0\r\n\r\n"),
              Expected(503, "", "", true));
}

TEST(HttpResponseReader, ReadsChunksWithoutTheirHeaders)
{
    EXPECT_EQ(ReadInEverySplit(kChunked + "4\r\nsome\r\n5;name=value\r\n body\r\n"),
              Expected(200, "text/event-stream", "some body", false));
    EXPECT_EQ(ReadInEverySplit(kChunked + "1\r\na\r\n1\r\nb\r\n0\r\n\r\nmore"),
              Expected(200, "text/event-stream", "ab", true));
}

TEST(HttpResponseReader, AnEmptyChunkedBodyMayArriveByteByByte)
{
    EXPECT_EQ(ReadInEverySplit(kChunked + "0\r\n\r\n"),
              Expected(200, "text/event-stream", "", true));
}

TEST(HttpResponseReader, TrailersAreNotPartOfTheHeader)
{
    EXPECT_EQ(ReadInEverySplit("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                               "1\r\na\r\n0\r\nContent-Type: text/plain\r\n\r\n"),
              Expected(200, "", "a", true));
}

TEST(HttpResponseReader, TheFirstContentTypeCounts)
{
    EXPECT_EQ(Read({"HTTP/1.0 200 OK\r\ncontent-type: a/b\r\nContent-Type: c/d\r\n\r\n"}),
              Expected(200, "a/b", "", false));
}

TEST(HttpResponseReader, AnUnfinishedHeaderIsNotDone)
{
    const Result result = ReadInEverySplit("HTTP/1.1 200 OK\r\nContent-Ty");
    EXPECT_TRUE(result.good);
    EXPECT_FALSE(result.headerDone);
    EXPECT_FALSE(result.done);
}

TEST(HttpResponseReader, RefusesOtherTextThanAResponse)
{
    EXPECT_EQ(ErrorOf("garbage, and more of it\r\n\r\n"), "bad version");
    EXPECT_EQ(ErrorOf("HTTP/2.0 200 OK\r\n\r\n"), "bad version");
    EXPECT_EQ(ErrorOf("HTTP/1.1 2x0 OK\r\n\r\n"), "bad status");
    EXPECT_EQ(ErrorOf("HTTP/1.1 200 OK\r\nno colon\r\n\r\n"), "bad field");
    EXPECT_EQ(ErrorOf("HTTP/1.1 200 OK\r\nContent-Length: -1\r\n\r\n"), "bad Content-Length");
}

TEST(HttpResponseReader, RefusesBadChunks)
{
    EXPECT_EQ(ErrorOf(kChunked + "x\r\n"), "bad chunk");
    EXPECT_EQ(ErrorOf(kChunked + "1\r\nabc\r\n"), "bad chunk");
    EXPECT_EQ(ErrorOf(kChunked + "11111111111111111\r\n"), "bad chunk");
}

TEST(HttpResponseReader, NothingIsReadAfterARefusal)
{
    HttpResponseReader reader;
    std::string body;
    EXPECT_FALSE(reader.feed("garbage\r\n\r\n", body));
    EXPECT_FALSE(reader.feed(kHeader + "\r\nbody", body));
    EXPECT_FALSE(reader.headerDone());
    EXPECT_EQ(body, "");
}

TEST(HttpResponseReader, AHeaderOverTheBoundIsRefused)
{
    const std::string endless = "HTTP/1.1 200 OK\r\nX: " + std::string(kMaxHeaderBytes, 'x');
    EXPECT_EQ(ErrorOf(endless), "header limit exceeded");
    EXPECT_FALSE(ReadInEverySplit(endless).good);
    std::string fields = "HTTP/1.1 200 OK\r\n";
    while (fields.size() <= 2 * kMaxHeaderBytes) {
        fields += "Field: value\r\n";
    }
    EXPECT_EQ(ErrorOf(fields), "header limit exceeded");
}

TEST(HttpResponseReader, AnEndlessChunkHeaderIsRefused)
{
    const std::string much(kMaxHeaderBytes + 1, '0');
    EXPECT_EQ(ErrorOf(kChunked + "4\r\nsome\r\n" + much), "header limit exceeded");
    EXPECT_EQ(ErrorOf(kChunked + "1;x=" + much), "header limit exceeded");
    EXPECT_EQ(ErrorOf(kChunked + "0\r\nField: " + much), "header limit exceeded");
}

TEST(HttpResponseReader, TheBodyHasNoBound)
{
    HttpResponseReader reader;
    std::string body;
    ASSERT_TRUE(reader.feed(kChunked, body));
    const std::string chunk = "4000\r\n" + std::string(0x4000, 'x') + "\r\n";
    std::size_t total = 0;
    for (int i = 0; i < 1000; ++i) {
        body.clear();
        ASSERT_TRUE(reader.feed(chunk, body));
        total += body.size();
    }
    EXPECT_EQ(total, 1000U * 0x4000U);
    EXPECT_TRUE(Read({kHeader + "Content-Length: 18446744073709551615\r\n\r\nbody"}).good);
}
