#include "ssdp/delayed_queue.h"

#include "ssdp/ssdp_protocol.h"
#include "support/capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using testing::ElementsAre;

namespace {

using Messages = std::vector<std::string>;

class DelayedQueueTest : public testing::Test
{
protected:
    void Add(const std::string &message, std::uint32_t delay = 0, std::uint16_t port = 1900)
    {
        GETMessageType datagram;
        datagram.message = message;
        datagram.delay = delay;
        datagram.destination.sin_family = AF_INET;
        datagram.destination.sin_port = port;
        queue.Add(std::move(datagram));
    }

    // What leaves while a time goes by.
    Messages Tick(std::uint32_t elapsed)
    {
        Messages sent;
        for (const GETMessageType &datagram : queue.TakeDue(elapsed)) {
            sent.push_back(datagram.message + ":" + std::to_string(datagram.destination.sin_port));
        }
        return sent;
    }

    // What adding a datagram writes to standard error.
    std::string Complaint(const std::string &message)
    {
        const test::Output output = test::Capture([&] { Add(message); });
        EXPECT_EQ(output.out, "");
        return output.err;
    }

    DelayedQueue queue{3, 100, "SendGETRequest", "delayed requests"};
};

const std::string kFull = "SendGETRequest: Too many delayed requests, dropping what comes more\n";

} // namespace

TEST_F(DelayedQueueTest, ADatagramWhoseDelayIsNotAboveTheElapsedTimeIsSentAndRemoved)
{
    Add("a", 4999, 1);
    Add("b", 5000, 2);
    Add("c", 5001, 3);
    EXPECT_THAT(Tick(5000), ElementsAre("a:1", "b:2"));
    EXPECT_EQ(queue.Size(), 1U);
}

TEST_F(DelayedQueueTest, AnyOthersDelayIsLoweredByTheElapsedTime)
{
    Add("a", 14999);
    EXPECT_EQ(Tick(5000), Messages{});
    EXPECT_EQ(Tick(5000), Messages{});
    EXPECT_EQ(Tick(4998), Messages{});
    EXPECT_THAT(Tick(1), ElementsAre("a:1900"));
    EXPECT_EQ(Tick(5000), Messages{});
}

TEST_F(DelayedQueueTest, ADelayBelowOnePollIntervalIsOverAtTheFirstTick)
{
    Add("a", 4249);
    EXPECT_THAT(Tick(4250), ElementsAre("a:1900"));
}

TEST_F(DelayedQueueTest, WhatIsDueLeavesInTheOrderItCame)
{
    Add("late", 10);
    Add("early", 5);
    Add("now", 0);
    EXPECT_THAT(Tick(0), ElementsAre("now:1900"));
    EXPECT_THAT(Tick(10), ElementsAre("late:1900", "early:1900"));
}

TEST_F(DelayedQueueTest, TheLongestTimesDoNotWrap)
{
    Add("a", 4294967295U);
    EXPECT_EQ(Tick(4294967294U), Messages{});
    EXPECT_THAT(Tick(4294967295U), ElementsAre("a:1900"));
}

TEST_F(DelayedQueueTest, ClearDropsEverythingAndMakesRoom)
{
    Add(std::string(100, 'a'));
    queue.Clear();
    EXPECT_EQ(queue.Size(), 0U);
    EXPECT_EQ(Tick(1), Messages{});
    Add(std::string(99, 'b'));
    EXPECT_EQ(Complaint("c"), "");
    EXPECT_THAT(Tick(0), ElementsAre(std::string(99, 'b') + ":1900", "c:1900"));
}

TEST_F(DelayedQueueTest, DropsWhatIsOverTheBoundAndSaysSoOnce)
{
    Add("a");
    Add("b");
    EXPECT_EQ(Complaint("c"), "");
    EXPECT_EQ(Complaint("d"), kFull);
    EXPECT_EQ(Complaint("e"), "");
    EXPECT_THAT(Tick(0), ElementsAre("a:1900", "b:1900", "c:1900"));
}

// Otherwise a flood that goes on would write a line in each tick.
TEST_F(DelayedQueueTest, DoesNotSaySoAgainWhenSomeOfItHasLeft)
{
    Add("a", 5);
    Add("b", 6);
    Add("c", 6);
    EXPECT_EQ(Complaint("d"), kFull);
    EXPECT_THAT(Tick(5), ElementsAre("a:1900"));
    EXPECT_EQ(Complaint("e"), "");
    EXPECT_EQ(Complaint("f"), "");
    EXPECT_THAT(Tick(1), ElementsAre("b:1900", "c:1900", "e:1900"));
}

TEST_F(DelayedQueueTest, SaysSoAgainAfterItWasMostlyEmpty)
{
    for (const char *message : {"a", "b", "c"}) {
        Add(message, 5);
    }
    EXPECT_EQ(Complaint("d"), kFull);
    Tick(4); // nothing leaves
    EXPECT_EQ(Complaint("e"), "");
    Tick(1);
    for (const char *message : {"a", "b", "c"}) {
        EXPECT_EQ(Complaint(message), "");
    }
    EXPECT_EQ(Complaint("d"), kFull);
}

TEST_F(DelayedQueueTest, IsFullOnceItHoldsItsBytes)
{
    Add(std::string(99, 'a'));
    EXPECT_EQ(Complaint("b"), "");
    EXPECT_EQ(Complaint("c"), kFull);
    EXPECT_EQ(queue.Size(), 2U);
}

// Otherwise a flood of large and small datagrams would write a line at each
// change of size.
TEST_F(DelayedQueueTest, IsFullForAnySizeAndSaysSoOnce)
{
    Add(std::string(99, 'a'));
    EXPECT_EQ(Complaint(std::string(50, 'b')), ""); // begun below its bytes
    EXPECT_EQ(Complaint(std::string(50, 'c')), kFull);
    EXPECT_EQ(Complaint("d"), "");
    EXPECT_EQ(Complaint(""), "");
    EXPECT_EQ(queue.Size(), 2U);
    EXPECT_EQ(Tick(0).size(), 2U);
    EXPECT_EQ(Complaint(std::string(100, 'e')), "");
    EXPECT_EQ(queue.Size(), 1U);
}

TEST(DelayedQueueBounds, AreFarAboveAnyRealNetworkAndHoldFullDatagrams)
{
    EXPECT_EQ(ssdp::kMaxDelayedRequests, 4096U);
    EXPECT_EQ(ssdp::kMaxDelayedResponses, 1024U);
    struct Bound
    {
        std::size_t count;
        std::size_t bytes;
    };
    for (const Bound bound : {Bound{ssdp::kMaxDelayedRequests, ssdp::kMaxDelayedRequestBytes},
                              Bound{ssdp::kMaxDelayedResponses, ssdp::kMaxDelayedResponseBytes}}) {
        DelayedQueue queue(bound.count, bound.bytes, "Operation", "things");
        const test::Output output = test::Capture([&] {
            for (std::size_t i = 0; i < bound.count + 10; ++i) {
                queue.Add({std::string(formats::kReceiveSize, 'x'), 5000, {}});
            }
        });
        EXPECT_EQ(queue.Size(), bound.count);
        EXPECT_EQ(output.err, "Operation: Too many things, dropping what comes more\n");
    }
}
