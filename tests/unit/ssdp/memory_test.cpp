#include "agent_fixture.h"
#include "ssdp/delayed_queue.h"
#include "ssdp/device_map.h"
#include "ssdp/known_alives.h"
#include "support/live_memory.h"

#include <cstdint>
#include <gmock/gmock.h>
#include <string>
#include <utility>
#include <vector>

// The memory that the protocol core keeps, as numbers of bytes that are allocated and not freed.

using ssdp::KnownAlives;
using test::kLumen;
using test::LiveMemory;
using testing::ElementsAre;

namespace {

using Numbers = std::vector<int>;

constexpr std::size_t kMost = 4096;

// All these datagrams have the same size.
std::string AliveOf(int number)
{
    return test::PeerNotify("ssdp:alive", "Lumen" + std::to_string(1000 + number), kLumen);
}

void Keep(KnownAlives &alives, int number)
{
    const std::string datagram = AliveOf(number);
    alives.Keep(datagram, formats::ScanHeaders(datagram), kMost);
}

class AgentMemory : public test::AgentTest
{
protected:
    // The agent leaves, and the environment forgets what it recorded.
    void Leave()
    {
        mAgent.Leave(true);
        mEnvironment.TakeSent();
        std::exchange(mEnvironment.log, {});
    }
};

} // namespace

TEST(DelayedQueueMemory, AddressesWithoutADatagramAreForgotten)
{
    test::FakeEnvironment environment;
    ssdp::DelayedQueue queue(environment, 3, "SendGETRequest", "delayed requests");
    const std::int64_t before = LiveMemory();
    for (in_addr_t holder = 1; holder <= 1000; ++holder) {
        GETMessageType datagram;
        datagram.holder = holder;
        queue.Add(std::move(datagram));
        ASSERT_EQ(queue.TakeDue(0).size(), 1U);
    }
    EXPECT_EQ(LiveMemory(), before);
}

TEST(UsnIndexMemory, DoublesWhenThreeQuartersAreInUse)
{
    formats::SSDPDeviceMap map;
    ssdp::UsnIndex index;
    Numbers grown;
    for (int count = 1; count <= 200; ++count) {
        const auto record = map.try_emplace(std::to_string(count)).first;
        const std::int64_t before = LiveMemory();
        index.Insert(record);
        if (LiveMemory() != before) {
            grown.push_back(count);
        }
    }
    EXPECT_THAT(grown, ElementsAre(49, 97, 193));
}

TEST(KnownAlivesMemory, GrowsWhenHalfFullAndShrinksBelowAnEighth)
{
    KnownAlives alives;
    Keep(alives, 0);
    std::int64_t before = LiveMemory();
    Keep(alives, 1);
    const std::int64_t each = LiveMemory() - before;
    constexpr std::int64_t kLargest = 64; // the largest difference of two blocks of one size
    Numbers grown;
    for (int count = 3; count <= 100; ++count) {
        before = LiveMemory();
        Keep(alives, count);
        if (LiveMemory() - before > each + kLargest) {
            grown.push_back(count);
        }
    }
    EXPECT_THAT(grown, ElementsAre(9, 17, 33, 65));
    Numbers shrunk;
    for (int count = 99; count >= 0; --count) {
        before = LiveMemory();
        alives.Limit(static_cast<std::size_t>(count));
        if (before - LiveMemory() > each + kLargest) {
            shrunk.push_back(count);
        }
    }
    EXPECT_THAT(shrunk, ElementsAre(31, 15, 7, 3));
}

TEST_F(AgentMemory, AnAnnouncementOfAKnownDeviceIsKeptOnce)
{
    Open();
    Receive(test::PeerDescription("Lumen", "beta"));
    const std::string alive = test::PeerNotify("ssdp:alive", "Lumen", kLumen);
    const std::int64_t before = LiveMemory();
    Receive(alive);
    const std::int64_t kept = LiveMemory();
    EXPECT_GT(kept - before, static_cast<std::int64_t>(alive.size()));
    Receive(alive);
    EXPECT_EQ(LiveMemory(), kept);
}

TEST_F(AgentMemory, AnAnnouncementOfAnUnknownZR1IsNotKept)
{
    Open();
    const std::int64_t before = LiveMemory();
    Receive(test::PeerNotify("ssdp:alive", "ZR1", kLumen));
    EXPECT_EQ(LiveMemory(), before);
}

TEST_F(AgentMemory, TakingAChangeNeedsNoMoreThanTwoListsAtATime)
{
    Open();
    Receive(test::PeerDescription("Lumen", std::string(1000, 'a')));
    formats::SSDPDeviceMap list;
    for (int number = 0; number < 10; ++number) {
        list[std::to_string(number)].hostName.assign(1000, 'b');
    }
    const std::int64_t before = LiveMemory();
    test::StartPeak();
    ASSERT_TRUE(mAgent.TakeChange(list));
    EXPECT_EQ(test::PeakMemory(), before);
    EXPECT_EQ(list.size(), 1U);
}

TEST_F(AgentMemory, NothingOfPeersStaysAfterLeaving)
{
    const std::string description = test::PeerDescription("Lumen", "beta");
    Open();
    Receive(description); // tables that have grown may stay as large
    Leave();
    const std::int64_t before = LiveMemory();
    Open();
    Receive(description);
    Receive(test::PeerNotify("ssdp:alive", "Lumen", kLumen));
    Receive(test::PeerNotify("ssdp:alive", "Talon", kLumen));
    EXPECT_GT(LiveMemory(), before);
    Leave();
    EXPECT_EQ(LiveMemory(), before);
}
