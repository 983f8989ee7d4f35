#include "wsconfig/watch_answer_reader.h"

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

using namespace wsconfig;

namespace {

constexpr std::size_t kTenMegabytes = 10'000'000;

const std::string kHeader = "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n\r\n";

// The contents of an answer as text: the values, the dropped events, the end.
class Log
{
public:
    void add(const WatchNews &news)
    {
        for (const WatchedValue &value : news.values) {
            m_values += std::to_string(value.param) + "=" + value.json.toStdString() + "|";
        }
        for (const std::string &reason : news.dropped) {
            m_dropped += "dropped " + reason + "|";
        }
        m_end = news.fault + (news.ended ? "ended" : "");
    }
    [[nodiscard]] std::string text() const { return m_values + m_dropped + m_end; }

private:
    std::string m_values;
    std::string m_dropped;
    std::string m_end;
};

std::string Read(std::string_view answer, std::size_t cut = 0)
{
    WatchAnswerReader reader({24, 19});
    Log log;
    log.add(reader.feed(answer.substr(0, cut)));
    log.add(reader.feed(answer.substr(cut)));
    return log.text();
}

std::string ReadInEverySplit(std::string_view answer)
{
    std::string whole = Read(answer);
    for (std::size_t cut = 1; cut <= answer.size(); ++cut) {
        EXPECT_EQ(Read(answer, cut), whole) << "cut at " << cut;
    }
    return whole;
}

} // namespace

TEST(WatchAnswerReader, DeliversTheValuesAsJsonTextInOrder)
{
    EXPECT_EQ(ReadInEverySplit(kHeader + "event: 24\ndata: {\"hostName\":\"studio-a\"}\n\n:\n\n"
                                         "event: 19\ndata: []\n\nevent: 24\ndata: { }\n\n"),
              "24={\"hostName\":\"studio-a\"}|19=[]|24={ }|");
}

TEST(WatchAnswerReader, ReadsAChunkedStreamInOneByteChunks)
{
    std::string answer = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n"
                         "Content-Type: text/event-stream\r\n\r\n";
    for (const char byte : std::string("event: 24\ndata: {\"ssdpEnable\":true}\n\n")) {
        answer += std::string("1\r\n") + byte + "\r\n";
    }
    EXPECT_EQ(ReadInEverySplit(answer + "0\r\n\r\n"), "24={\"ssdpEnable\":true}|ended");
}

TEST(WatchAnswerReader, EqualValuesAreDeliveredEachTime)
{
    EXPECT_EQ(Read(kHeader + "event: 19\ndata: []\n\nevent: 19\ndata: []\n\n"), "19=[]|19=[]|");
}

TEST(WatchAnswerReader, DropsEventsOfParametersThatAreNotWatched)
{
    for (const char *type : {"25", "024", "+24", " 24", "2 4", "message", "24.0"}) {
        EXPECT_EQ(Read(kHeader + "event: " + type + "\ndata: {}\n\n"),
                  "dropped not of a watched parameter|")
            << type;
    }
    EXPECT_EQ(Read(kHeader + "data: {}\n\n"), "dropped not of a watched parameter|");
}

TEST(WatchAnswerReader, DropsMalformedJsonAndContinues)
{
    EXPECT_EQ(ReadInEverySplit(kHeader + "event: 24\ndata: {\"hostName\":\n\n"
                                         "event: 19\ndata: [\n\n"
                                         "event: 24\ndata:\n\n"
                                         "event: 24\ndata: {}\n\n"),
              "24={}|dropped parameter 24: unterminated object|"
              "dropped parameter 19: unterminated array|dropped parameter 24: illegal value|");
}

TEST(WatchAnswerReader, DropsJsonThatIsNeitherObjectNorArray)
{
    for (const char *json : {"5", "null", "true", "\"text\""}) {
        EXPECT_EQ(Read(kHeader + "event: 24\ndata: " + json + "\n\n"),
                  "dropped parameter 24: illegal value|")
            << json;
    }
}

TEST(WatchAnswerReader, DropsTextThatIsNotUtf8)
{
    EXPECT_EQ(Read(kHeader + "event: 24\ndata: {\"hostName\":\"\xFF\"}\n\n"),
              "dropped parameter 24: invalid UTF8 string|");
}

TEST(WatchAnswerReader, DropsJsonThatIsNestedTooDeeply)
{
    const std::string open(100000, '[');
    EXPECT_EQ(Read(kHeader + "event: 24\ndata: " + open + std::string(100000, ']') + "\n\n"),
              "dropped parameter 24: too deeply nested document|");
}

TEST(WatchAnswerReader, DropsAnEventOverTheBoundAndContinues)
{
    EXPECT_EQ(Read(kHeader + "event: 24\ndata: [\"" + std::string(kTenMegabytes, 'x') +
                   "\"]\n\nevent: 24\ndata: {}\n\n"),
              "24={}|dropped over 262144 bytes|");
}

TEST(WatchAnswerReader, TheContentTypeMayHaveParametersAndAnyCase)
{
    EXPECT_EQ(Read("HTTP/1.1 200 OK\r\nContent-Type: Text/Event-Stream ; charset=utf-8\r\n\r\n"
                   "event: 24\ndata: {}\n\n"),
              "24={}|");
}

TEST(WatchAnswerReader, AnyOtherContentTypeIsAFault)
{
    const std::string event = "event: 24\ndata: {}\n\n";
    for (const char *type : {"application/json", "text/event-streams", "text/event", ";"}) {
        EXPECT_EQ(ReadInEverySplit(std::string("HTTP/1.1 200 OK\r\nContent-Type: ") + type +
                                   "\r\n\r\n" + event),
                  "not an event stream")
            << type;
    }
    EXPECT_EQ(Read("HTTP/1.1 200 OK\r\n\r\n" + event), "not an event stream");
}

TEST(WatchAnswerReader, AnyStatusOtherThan200IsAFault)
{
    for (const char *status : {"100", "204", "301", "400", "503", "999"}) {
        EXPECT_EQ(ReadInEverySplit(std::string("HTTP/1.1 ") + status +
                                   " Reason\r\nContent-Type: text/event-stream\r\n\r\n"
                                   "event: 24\ndata: {}\n\n"),
                  std::string("status ") + status);
    }
}

TEST(WatchAnswerReader, GarbageIsAFault)
{
    EXPECT_EQ(ReadInEverySplit("\x16\x03\x01 garbage\r\n\r\n"), "bad HTTP answer: bad version");
}

TEST(WatchAnswerReader, ValuesBeforeAFaultAreDelivered)
{
    EXPECT_EQ(ReadInEverySplit("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n"
                               "Content-Type: text/event-stream\r\n\r\n"
                               "14\r\nevent: 24\ndata: {}\n\n\r\nno chunk\r\n"),
              "24={}|bad HTTP answer: bad chunk");
}

TEST(WatchAnswerReader, NoValuesFollowAFault)
{
    WatchAnswerReader reader({24});
    EXPECT_EQ(reader.feed("HTTP/1.1 503 Busy\r\n\r\n").fault, "status 503");
    const WatchNews news = reader.feed("event: 24\ndata: {}\n\n");
    EXPECT_EQ(news.fault, "status 503");
    EXPECT_TRUE(news.values.empty());
}

TEST(WatchAnswerReader, DamagedAnswersGiveOnlyTextsThatBeginLikeObjectsOrArrays)
{
    const std::string good = kHeader + "event: 24\ndata: {\"hostName\":\"a\"}\n\n"
                                       "event: 19\ndata: []\n\n";
    std::mt19937 random(19); // NOLINT: the same damage in every run
    std::uniform_int_distribution<int> byte(0, 255);
    std::uniform_int_distribution<std::size_t> place(0, good.size() - 1);
    std::size_t delivered = 0;
    for (int round = 0; round < 2000; ++round) {
        std::string damaged = good;
        damaged[place(random)] = static_cast<char>(byte(random));
        damaged[place(random)] = static_cast<char>(byte(random));
        WatchAnswerReader reader({24, 19});
        for (const WatchedValue &value : reader.feed(damaged).values) {
            ++delivered;
            EXPECT_TRUE(value.json.startsWith(QLatin1Char('{')) ||
                        value.json.startsWith(QLatin1Char('[')))
                << value.json.toStdString();
        }
    }
    EXPECT_GT(delivered, 0U);
}
