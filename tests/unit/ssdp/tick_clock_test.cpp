#include "ssdp/timing.h"

#include <gtest/gtest.h>

using ssdp::TickClock;

namespace {

constexpr std::uint32_t kIntervalMs = 5000;

bool IsOver(TickClock &clock, std::uint32_t nowMs)
{
    clock.Update(nowMs, kIntervalMs);
    return clock.IsOver(kIntervalMs);
}

} // namespace

TEST(TickClock, TickIsOverWhenTheIntervalHasPassed)
{
    TickClock clock;
    clock.Start(1000);
    EXPECT_FALSE(IsOver(clock, 1001));
    EXPECT_EQ(clock.ElapsedMs(), 1U);
    EXPECT_FALSE(IsOver(clock, 5999));
    EXPECT_TRUE(IsOver(clock, 6000));
    EXPECT_EQ(clock.ElapsedMs(), 5000U);
}

TEST(TickClock, LateTickHasTheWholeElapsedTime)
{
    TickClock clock;
    clock.Start(1000);
    EXPECT_TRUE(IsOver(clock, 10999));
    EXPECT_EQ(clock.ElapsedMs(), 9999U);
}

TEST(TickClock, NoTimeHasPassedAtTheStart)
{
    TickClock clock;
    clock.Start(1000);
    EXPECT_EQ(clock.ElapsedMs(), 0U);
    EXPECT_FALSE(IsOver(clock, 1000));
    EXPECT_EQ(clock.ElapsedMs(), 0U);
}

TEST(TickClock, ReadingEqualToTheStartKeepsTheElapsedTime)
{
    TickClock clock;
    clock.Start(1000);
    EXPECT_FALSE(IsOver(clock, 4000));
    EXPECT_FALSE(IsOver(clock, 1000));
    EXPECT_EQ(clock.ElapsedMs(), 3000U);
}

TEST(TickClock, ClockThatGoesBackEndsTheTickWithOneInterval)
{
    TickClock clock;
    clock.Start(1000);
    EXPECT_TRUE(IsOver(clock, 999));
    EXPECT_EQ(clock.ElapsedMs(), 5000U);
    clock.Start(1000);
    EXPECT_TRUE(IsOver(clock, 0));
    EXPECT_EQ(clock.ElapsedMs(), 5000U);
}

TEST(TickClock, ClockThatWrapsEndsTheTickWithOneInterval)
{
    TickClock clock;
    clock.Start(4294967000U);
    EXPECT_FALSE(IsOver(clock, 4294967295U));
    EXPECT_TRUE(IsOver(clock, 3));
    EXPECT_EQ(clock.ElapsedMs(), 5000U);
}

TEST(TickClock, StartResetsTheElapsedTime)
{
    TickClock clock;
    clock.Start(1000);
    EXPECT_TRUE(IsOver(clock, 9000));
    clock.Start(9000);
    EXPECT_EQ(clock.ElapsedMs(), 0U);
    EXPECT_FALSE(IsOver(clock, 9000));
    EXPECT_FALSE(IsOver(clock, 13999));
    EXPECT_TRUE(IsOver(clock, 14000));
}
