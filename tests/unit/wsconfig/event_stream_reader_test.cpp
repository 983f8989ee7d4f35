#include "wsconfig/event_stream_reader.h"

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

using namespace wsconfig;

namespace {

using Events = std::vector<ServerEvent>;

// The events as text, so that a failure shows the difference.
std::string Text(const Events &events)
{
    std::string text;
    for (const ServerEvent &event : events) {
        text += event.tooLarge ? "too large|" : "[" + event.type + "](" + event.data + ")|";
    }
    return text;
}

void Feed(EventStreamReader &reader, std::string_view bytes, Events &events)
{
    for (ServerEvent &event : reader.feed(bytes)) {
        events.push_back(std::move(event));
    }
}

std::string Read(std::string_view stream, std::size_t bound = kMaxEventBytes)
{
    EventStreamReader reader(bound);
    Events events;
    Feed(reader, stream, events);
    return Text(events);
}

// Reads a stream in one piece, in every pair of pieces, and byte by byte. The events must
// be the same each time.
std::string ReadInEverySplit(std::string_view stream, std::size_t bound = kMaxEventBytes)
{
    std::string whole = Read(stream, bound);
    for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
        EventStreamReader reader(bound);
        Events events;
        Feed(reader, stream.substr(0, cut), events);
        Feed(reader, stream.substr(cut), events);
        EXPECT_EQ(Text(events), whole) << "cut at " << cut;
    }
    EventStreamReader reader(bound);
    Events events;
    for (const char byte : stream) {
        Feed(reader, {&byte, 1}, events);
    }
    EXPECT_EQ(Text(events), whole) << "byte by byte";
    return whole;
}

} // namespace

TEST(EventStreamReader, ReadsAnEventOfTheService)
{
    EXPECT_EQ(ReadInEverySplit("event: 24\ndata: {\"hostName\":\"studio-a\"}\n\n"),
              "[24]({\"hostName\":\"studio-a\"})|");
}

TEST(EventStreamReader, LinesEndInCrLfOrBoth)
{
    EXPECT_EQ(ReadInEverySplit("event: 1\ndata: a\n\nevent: 2\ndata: b\n\n"), "[1](a)|[2](b)|");
    EXPECT_EQ(ReadInEverySplit("event: 1\rdata: a\r\revent: 2\rdata: b\r\r"), "[1](a)|[2](b)|");
    EXPECT_EQ(ReadInEverySplit("event: 1\r\ndata: a\r\n\r\nevent: 2\r\ndata: b\r\n\r\n"),
              "[1](a)|[2](b)|");
    EXPECT_EQ(ReadInEverySplit("event: 1\rdata: a\n\r\nevent: 2\r\ndata: b\r\r"), "[1](a)|[2](b)|");
}

TEST(EventStreamReader, ACarriageReturnEndsItsLineAtOnce)
{
    EXPECT_EQ(Read("data: a\r\n\r"), "[](a)|");
}

TEST(EventStreamReader, SeveralDataLinesAreJoinedByLineFeeds)
{
    EXPECT_EQ(ReadInEverySplit("data: a\ndata: b\ndata:\ndata: c\n\n"), "[](a\nb\n\nc)|");
    EXPECT_EQ(ReadInEverySplit("data\ndata\n\n"), "[](\n)|");
}

TEST(EventStreamReader, CommentsAndOtherFieldsAreIgnored)
{
    EXPECT_EQ(ReadInEverySplit(":\n: note\nid: 7\nretry: 9\nEvent: 1\ndatas: x\nevent: 24\n"
                               ": between\ndata: a\n\n:\n\n"),
              "[24](a)|");
}

TEST(EventStreamReader, OneSpaceAfterTheColonIsNotPartOfTheValue)
{
    EXPECT_EQ(ReadInEverySplit("event:24\ndata:a: b\n\n"), "[24](a: b)|");
    EXPECT_EQ(ReadInEverySplit("event:  24\ndata:  a \n\n"), "[ 24]( a )|");
    EXPECT_EQ(ReadInEverySplit(" data: a\ndata : b\n\n"), "");
}

TEST(EventStreamReader, AnEventWithoutDataIsNotDelivered)
{
    EXPECT_EQ(ReadInEverySplit("event: 24\n\ndata: a\n\n"), "[](a)|");
    EXPECT_EQ(ReadInEverySplit("\n\n\n"), "");
}

TEST(EventStreamReader, AnEventWithEmptyDataIsDelivered)
{
    EXPECT_EQ(ReadInEverySplit("event: 24\ndata:\n\n"), "[24]()|");
}

TEST(EventStreamReader, TheLastTypeCountsForItsEventOnly)
{
    EXPECT_EQ(ReadInEverySplit("event: 1\nevent: 2\ndata: a\n\ndata: b\n\n"), "[2](a)|[](b)|");
}

TEST(EventStreamReader, AnUnfinishedEventIsNotDelivered)
{
    EXPECT_EQ(ReadInEverySplit("data: a\n"), "");
    EXPECT_EQ(ReadInEverySplit("data: a"), "");
}

TEST(EventStreamReader, AByteOrderMarkIsIgnoredAtTheStartOnly)
{
    EXPECT_EQ(ReadInEverySplit("\xEF\xBB\xBF"
                               "data: a\n\n"
                               "\xEF\xBB\xBF"
                               "data: b\n\n"),
              "[](a)|");
}

TEST(EventStreamReader, AValueMayContainAnyByte)
{
    EXPECT_EQ(ReadInEverySplit(std::string_view("data: \0\xFF\x80\n\n", 11)),
              std::string("[](\0\xFF\x80)|", 8));
}

TEST(EventStreamReader, AnEventOverTheBoundIsReportedOnceAndSkipped)
{
    EXPECT_EQ(ReadInEverySplit("data: 1\n\nevent: 2\ndata: 0123456789\ndata: 3\n\ndata: 4\n\n", 14),
              "[](1)|too large|[](4)|");
}

TEST(EventStreamReader, TheBoundIsExact)
{
    EXPECT_EQ(ReadInEverySplit("data: 0123\n\n", 10), "[](0123)|");
    EXPECT_EQ(ReadInEverySplit("data: 0123\n\n", 9), "too large|");
}

TEST(EventStreamReader, EveryKindOfGrowthIsBounded)
{
    const std::string many(100, 'x');
    EXPECT_EQ(ReadInEverySplit(": " + many + "\n\ndata: a\n\n", 50), "too large|[](a)|");
    EXPECT_EQ(ReadInEverySplit("event: " + many + "\n\ndata: a\n\n", 50), "too large|[](a)|");
    std::string lines;
    for (int i = 0; i < 60; ++i) {
        lines += "data\n";
    }
    EXPECT_EQ(ReadInEverySplit(lines + "\ndata: a\n\n", 50), "too large|[](a)|");
}

TEST(EventStreamReader, AnEventOfTenMegabytesIsNotKept)
{
    EventStreamReader reader;
    Events events;
    Feed(reader, "event: 24\ndata: ", events);
    const std::string piece(16384, 'x');
    for (int i = 0; i < 640; ++i) {
        Feed(reader, piece, events);
    }
    Feed(reader, "\n\nevent: 24\ndata: {}\n\n", events);
    EXPECT_EQ(Text(events), "too large|[24]({})|");
}

TEST(EventStreamReader, TheLargestEventIsDelivered)
{
    const std::string value(kMaxEventBytes - 6, 'x');
    EXPECT_EQ(Read("data: " + value + "\n\n"), "[](" + value + ")|");
}

TEST(EventStreamReader, RandomStreamsReadTheSameInEverySplit)
{
    const std::vector<std::string> parts = {"data", "event", ":",    " ",    "\r",
                                            "\n",   "x",     "\r\n", "\n\n", "\xEF\xBB\xBF"};
    std::mt19937 random(20240501); // NOLINT: the same streams in every run
    std::uniform_int_distribution<std::size_t> pick(0, parts.size() - 1);
    std::size_t delivered = 0;
    for (int round = 0; round < 300; ++round) {
        std::string stream;
        for (int i = 0; i < 40; ++i) {
            stream += parts[pick(random)];
        }
        delivered += ReadInEverySplit(stream, 24).size();
    }
    EXPECT_GT(delivered, 0U);
}
