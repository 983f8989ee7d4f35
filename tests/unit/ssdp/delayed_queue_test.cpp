#include "ssdp/delayed_queue.h"

#include "ssdp/ssdp_tunables.h"
#include "support/fake_environment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using testing::ElementsAre;

namespace {

using Texts = std::vector<std::string>;

constexpr in_addr_t kHolder = 1;
constexpr in_addr_t kOther = 2;
constexpr in_addr_t kThird = 3;

class DelayedQueueTest : public testing::Test
{
protected:
    void Add(const std::string &message, std::uint32_t delayMs = 0, in_addr_t holder = kHolder)
    {
        GETMessageType datagram;
        datagram.message = message;
        datagram.delay = delayMs;
        datagram.holder = holder;
        queue.Add(std::move(datagram));
    }

    static Texts TextsOf(const std::list<GETMessageType> &datagrams)
    {
        Texts texts;
        for (const GETMessageType &datagram : datagrams) {
            texts.push_back(datagram.message);
        }
        return texts;
    }

    // The datagrams that are due within a time.
    Texts Tick(std::uint32_t elapsedMs) { return TextsOf(queue.TakeDue(elapsedMs)); }

    // Adds a datagram. Returns the lines that this reports.
    Texts LinesOfAdding(const std::string &message, in_addr_t holder = kHolder)
    {
        Add(message, 0, holder);
        return environment.TakeFaults();
    }

    // The text of a datagram that takes this number of places.
    static std::string Large(std::size_t places)
    {
        return std::string(places * ssdp::kBytesOfPlace, 'x');
    }

    test::FakeEnvironment environment;
    ssdp::DelayedQueue queue{environment, 3, "SendGETRequest", "delayed requests"};
};

const std::string kFull = "SendGETRequest: Too many delayed requests, dropping what comes more";

} // namespace

TEST_F(DelayedQueueTest, DatagramIsDueWhenItsDelayIsNotAboveTheElapsedTime)
{
    Add("a", 4999);
    Add("b", 5000);
    Add("c", 5001);
    EXPECT_THAT(Tick(5000), ElementsAre("a", "b"));
    EXPECT_EQ(queue.Size(), 1U);
}

TEST_F(DelayedQueueTest, DelayOfOtherDatagramsIsLoweredByTheElapsedTime)
{
    Add("a", 14999);
    EXPECT_EQ(Tick(5000), Texts{});
    EXPECT_EQ(Tick(5000), Texts{});
    EXPECT_EQ(Tick(4998), Texts{});
    EXPECT_THAT(Tick(1), ElementsAre("a"));
    EXPECT_EQ(Tick(5000), Texts{});
}

TEST_F(DelayedQueueTest, DelayBelowOnePollIntervalEndsAtTheFirstTick)
{
    Add("a", 4249);
    EXPECT_THAT(Tick(4250), ElementsAre("a"));
}

TEST_F(DelayedQueueTest, DueDatagramsComeInOrderOfAddingForAllHolders)
{
    Add("late", 10, kOther);
    Add("early", 5, kHolder);
    Add("now", 0, kThird);
    EXPECT_THAT(Tick(0), ElementsAre("now"));
    EXPECT_THAT(Tick(10), ElementsAre("late", "early"));
}

TEST_F(DelayedQueueTest, LongestTimesDoNotWrap)
{
    Add("a", 4294967295U);
    EXPECT_EQ(Tick(4294967294U), Texts{});
    EXPECT_THAT(Tick(4294967295U), ElementsAre("a"));
}

TEST_F(DelayedQueueTest, ClearDropsEverythingAndMakesRoom)
{
    Add(Large(3));
    queue.Clear();
    EXPECT_EQ(queue.Size(), 0U);
    EXPECT_EQ(Tick(1), Texts{});
    EXPECT_EQ(LinesOfAdding("a"), Texts{});
    EXPECT_EQ(LinesOfAdding("b"), Texts{});
    EXPECT_THAT(Tick(0), ElementsAre("a", "b"));
}

TEST_F(DelayedQueueTest, ClearForgetsHowMuchAnAddressHolds)
{
    for (const char *message : {"a", "b", "c"}) {
        Add(message, 0, kThird);
    }
    queue.Clear();
    for (const char *message : {"d", "e", "f"}) {
        Add(message, 0, kHolder);
    }
    Add("g", 0, kOther);
    EXPECT_THAT(Tick(0), ElementsAre("d", "e", "g"));
}

TEST_F(DelayedQueueTest, DatagramOverTheBoundIsDroppedAndReportedOnce)
{
    Add("a");
    Add("b");
    EXPECT_EQ(LinesOfAdding("c"), Texts{});
    EXPECT_THAT(LinesOfAdding("d"), ElementsAre(kFull));
    EXPECT_EQ(LinesOfAdding("e"), Texts{});
    EXPECT_THAT(Tick(0), ElementsAre("a", "b", "c"));
}

// Otherwise a lasting flood would write a line in each tick.
TEST_F(DelayedQueueTest, FullQueueIsNotReportedAgainAfterAFewDatagramsWereSent)
{
    Add("a", 5);
    Add("b", 6);
    Add("c", 6);
    EXPECT_THAT(LinesOfAdding("d"), ElementsAre(kFull));
    EXPECT_THAT(Tick(5), ElementsAre("a"));
    EXPECT_EQ(LinesOfAdding("e"), Texts{});
    EXPECT_EQ(LinesOfAdding("f"), Texts{});
    EXPECT_THAT(Tick(1), ElementsAre("b", "c", "e"));
}

TEST_F(DelayedQueueTest, FullQueueIsNotReportedAgainWhileAQuarterIsInUse)
{
    ssdp::DelayedQueue four{environment, 4, "SendGETRequest", "delayed requests"};
    const auto add = [&](std::uint32_t delayMs) {
        GETMessageType datagram;
        datagram.delay = delayMs;
        four.Add(std::move(datagram));
        return environment.TakeFaults();
    };
    for (const std::uint32_t delayMs : {5U, 5U, 5U, 100U}) {
        EXPECT_EQ(add(delayMs), Texts{});
    }
    EXPECT_THAT(add(5), ElementsAre(kFull));
    EXPECT_EQ(four.TakeDue(5).size(), 3U);
    for (int count = 0; count < 4; ++count) {
        EXPECT_EQ(add(5), Texts{});
    }
}

TEST_F(DelayedQueueTest, FullQueueIsReportedAgainAfterItWasMostlyEmpty)
{
    for (const char *message : {"a", "b", "c"}) {
        Add(message, 5);
    }
    EXPECT_THAT(LinesOfAdding("d"), ElementsAre(kFull));
    Tick(4); // nothing leaves
    EXPECT_EQ(LinesOfAdding("e"), Texts{});
    Tick(1);
    for (const char *message : {"a", "b", "c"}) {
        EXPECT_EQ(LinesOfAdding(message), Texts{});
    }
    EXPECT_THAT(LinesOfAdding("d"), ElementsAre(kFull));
}

TEST_F(DelayedQueueTest, LargeDatagramTakesSeveralPlaces)
{
    EXPECT_EQ(LinesOfAdding(Large(2)), Texts{});
    EXPECT_THAT(LinesOfAdding(Large(2)), ElementsAre(kFull));
    EXPECT_EQ(LinesOfAdding(Large(1)), Texts{});
    // One byte more takes a second place: the first address holds three places, so one of them
    // is not enough.
    EXPECT_EQ(LinesOfAdding(Large(1) + "x", kOther), Texts{});
    EXPECT_THAT(Tick(0), ElementsAre(Large(2), Large(1)));
}

TEST_F(DelayedQueueTest, FullQueueDropsTheNewestDatagramOfTheAddressThatHoldsMost)
{
    Add("a");
    Add("b");
    Add("c");
    EXPECT_THAT(LinesOfAdding("other", kOther), ElementsAre(kFull));
    EXPECT_THAT(Tick(0), ElementsAre("a", "b", "other"));
}

TEST_F(DelayedQueueTest, FullQueueDropsTheNewcomerUnlessItsAddressWouldHoldLessThanAnother)
{
    Add("a");
    Add("b");
    Add("other", 0, kOther);
    Add("more", 0, kOther);
    EXPECT_THAT(Tick(0), ElementsAre("a", "b", "other"));
}

TEST_F(DelayedQueueTest, AddressesThatHoldOneDatagramEachLoseNone)
{
    Add("a", 0, kHolder);
    Add("b", 0, kOther);
    Add("c", 0, kThird);
    Add("d", 0, 4);
    EXPECT_THAT(Tick(0), ElementsAre("a", "b", "c"));
}

TEST_F(DelayedQueueTest, HasRoomForAnAddressThatWouldHoldLessThanAnother)
{
    EXPECT_TRUE(queue.HasRoomFor(kHolder));
    Add("a");
    Add("b");
    Add("c");
    EXPECT_FALSE(queue.HasRoomFor(kHolder));
    EXPECT_TRUE(queue.HasRoomFor(kOther));
    Add("d", 0, kOther);
    EXPECT_FALSE(queue.HasRoomFor(kOther));
    Tick(0);
    EXPECT_TRUE(queue.HasRoomFor(kHolder));
}

TEST_F(DelayedQueueTest, FloodOfOneAddressTakesNoPlacesFromOthers)
{
    ssdp::DelayedQueue crowded(environment, 1024, "SendGETResponse", "delayed responses");
    for (int round = 0; round < 2000; ++round) {
        crowded.Add({"flood", 100, {}, kHolder});
    }
    for (in_addr_t other = 10; other < 34; ++other) {
        crowded.Add({"other", 100, {}, other});
        for (int round = 0; round < 100; ++round) {
            crowded.Add({"flood", 100, {}, kHolder});
        }
    }
    const Texts sent = TextsOf(crowded.TakeDue(100));
    EXPECT_EQ(sent.size(), 1024U);
    EXPECT_EQ(std::count(sent.begin(), sent.end(), "other"), 24);
}

TEST_F(DelayedQueueTest, DatagramPutBackIsDueAtTheNextThreeTicks)
{
    Add("a", 5);
    for (int tick = 0; tick < 4; ++tick) {
        std::list<GETMessageType> due = queue.TakeDue(5);
        EXPECT_THAT(TextsOf(due), ElementsAre("a")) << tick;
        queue.PutBack(std::move(due));
    }
    EXPECT_EQ(Tick(5), Texts{});
    EXPECT_EQ(queue.Size(), 0U);
}

TEST_F(DelayedQueueTest, DatagramPutBackIsSentBeforeLaterOnes)
{
    Add("a");
    Add("b", 1);
    queue.PutBack(queue.TakeDue(0));
    Add("c");
    EXPECT_THAT(Tick(1), ElementsAre("a", "b", "c"));
}

TEST_F(DelayedQueueTest, DatagramsPutBackCountInTheBound)
{
    Add("a");
    Add("b");
    queue.PutBack(queue.TakeDue(0));
    Add("c", 0, kOther);
    Add("d", 0, kOther);
    EXPECT_EQ(queue.Size(), 3U);
    EXPECT_THAT(Tick(0), ElementsAre("a", "b", "c"));
}

TEST_F(DelayedQueueTest, DatagramsPutBackAlternateBetweenTheirHolders)
{
    ssdp::DelayedQueue wide(environment, 100, "SendGETRequest", "delayed requests");
    for (const char *message : {"a1", "a2", "a3"}) {
        wide.Add({message, 0, {}, kHolder});
    }
    wide.Add({"b1", 0, {}, kOther});
    wide.PutBack(wide.TakeDue(0));
    wide.Add({"a4", 0, {}, kHolder});
    EXPECT_THAT(TextsOf(wide.TakeDue(0)), ElementsAre("a1", "b1", "a2", "a3", "a4"));
}

TEST(DelayedQueueBounds, HaveTheDocumentedValues)
{
    EXPECT_EQ(ssdp::kMaxDelayedRequests, 4096U);
    EXPECT_EQ(ssdp::kMaxDelayedResponses, 1024U);
    EXPECT_EQ(ssdp::kBytesOfPlace, 1600U);
}
