#include "ssdp/description_refresh.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

namespace {

using ssdp::DescriptionRefresh;

constexpr std::uint32_t kMinuteMs = 60000;

formats::NTSHeader AliveOf(const std::string &usn)
{
    return {"upnp:rootdevice", usn, "http://192.0.2.20:80/peer.xml", in_addr{1}};
}

// The USN of the peer that is asked now, or "".
std::string Asked(DescriptionRefresh &refresh)
{
    const auto peer = refresh.TakeNext();
    return peer ? peer->usn : "";
}

TEST(DescriptionRefresh, APeerIsDueWhenItsDescriptionIsOlderThanFifteenMinutes)
{
    DescriptionRefresh refresh;
    refresh.SetTime(7000);
    const std::uint32_t described = refresh.NowSeconds();
    refresh.SetTime(7000 + 15 * kMinuteMs);
    EXPECT_FALSE(refresh.IsNext(described));
    refresh.SetTime(8000 + 15 * kMinuteMs);
    EXPECT_TRUE(refresh.IsNext(described));
}

TEST(DescriptionRefresh, ReturnsThePeerWithTheTextsOfItsAnnouncement)
{
    DescriptionRefresh refresh;
    refresh.SetTime(20 * kMinuteMs);
    refresh.SetNext(AliveOf("a"), 3);
    const auto peer = refresh.TakeNext();
    ASSERT_TRUE(peer);
    EXPECT_EQ(peer->usn, "a");
    EXPECT_EQ(peer->location, "http://192.0.2.20:80/peer.xml");
    EXPECT_EQ(peer->sender.s_addr, 1U);
    EXPECT_EQ(Asked(refresh), "") << "only once";
}

TEST(DescriptionRefresh, TheOldestDescriptionIsNextAfterAPauseOfFourSeconds)
{
    DescriptionRefresh refresh;
    refresh.SetTime(20 * kMinuteMs);
    refresh.SetNext(AliveOf("first"), 10);
    ASSERT_EQ(Asked(refresh), "first");
    refresh.SetNext(AliveOf("young"), 30);
    EXPECT_TRUE(refresh.IsNext(20));
    EXPECT_FALSE(refresh.IsNext(30));
    refresh.SetNext(AliveOf("old"), 20);
    refresh.SetTime(20 * kMinuteMs + 3999);
    EXPECT_EQ(Asked(refresh), "");
    refresh.SetTime(20 * kMinuteMs + 4000);
    EXPECT_EQ(Asked(refresh), "old");
}

TEST(DescriptionRefresh, ClearForgetsTheNextPeer)
{
    DescriptionRefresh refresh;
    refresh.SetTime(20 * kMinuteMs);
    refresh.SetNext(AliveOf("a"), 3);
    refresh.Clear();
    EXPECT_EQ(Asked(refresh), "");
}

TEST(DescriptionRefresh, TheClockMayWrap)
{
    DescriptionRefresh refresh;
    refresh.SetTime(std::numeric_limits<std::uint32_t>::max() - 1999);
    const std::uint32_t described = refresh.NowSeconds();
    refresh.SetNext(AliveOf("a"), 0);
    ASSERT_EQ(Asked(refresh), "a");
    refresh.SetNext(AliveOf("b"), 0);
    refresh.SetTime(1999);
    EXPECT_EQ(Asked(refresh), "");
    refresh.SetTime(2000);
    EXPECT_EQ(Asked(refresh), "b");
    EXPECT_FALSE(refresh.IsNext(described));
    refresh.SetTime(15 * kMinuteMs);
    EXPECT_TRUE(refresh.IsNext(described));
}

// Simulates peers that announce themselves every 20 s, one after the other. Returns the
// longest time, in minutes, before a peer is asked for the first time or again.
std::uint32_t LongestMinutes(std::uint32_t peers, std::uint32_t minutes)
{
    DescriptionRefresh refresh;
    std::vector<std::uint32_t> described(peers, 0);
    std::uint32_t longest = 0;
    const std::uint32_t distanceMs = 20000 / peers;
    for (std::uint32_t turn = 0; turn * distanceMs < minutes * kMinuteMs; ++turn) {
        const std::uint32_t peer = turn % peers;
        refresh.SetTime(turn * distanceMs);
        if (refresh.IsNext(described[peer])) {
            refresh.SetNext(AliveOf(std::to_string(peer)), described[peer]);
        }
        if (const auto asked = refresh.TakeNext()) {
            std::uint32_t &time = described[std::stoul(asked->usn)];
            longest = std::max(longest, (refresh.NowSeconds() - time) / 60);
            time = refresh.NowSeconds();
        }
    }
    for (const std::uint32_t time : described) { // the time until the end counts, too
        longest = std::max(longest, (refresh.NowSeconds() - time) / 60);
    }
    return longest;
}

TEST(DescriptionRefresh, AFewPeersAreAskedEveryQuarterOfAnHour)
{
    EXPECT_EQ(LongestMinutes(5, 120), 15U);
}

TEST(DescriptionRefresh, AHundredPeersAreAskedWithin25Minutes)
{
    EXPECT_LT(LongestMinutes(100, 120), 25U);
}

TEST(DescriptionRefresh, AThousandPeersAreAskedWithinAnHourAndAHalf)
{
    EXPECT_LT(LongestMinutes(1000, 360), 90U);
}

} // namespace
