#include "ssdp/tick_clock.h"

#include <gtest/gtest.h>

using ssdp::TickClock;

TEST(TickClock, ATickIsOverWhenTheIntervalHasPassed)
{
    TickClock clock(5000);
    clock.Start(1000);
    EXPECT_FALSE(clock.IsOver(1001));
    EXPECT_EQ(clock.Elapsed(), 1U);
    EXPECT_FALSE(clock.IsOver(5999));
    EXPECT_TRUE(clock.IsOver(6000));
    EXPECT_EQ(clock.Elapsed(), 5000U);
}

TEST(TickClock, ALateTickTellsTheWholeTime)
{
    TickClock clock(5000);
    clock.Start(1000);
    EXPECT_TRUE(clock.IsOver(10999));
    EXPECT_EQ(clock.Elapsed(), 9999U);
}

TEST(TickClock, NoTimeHasPassedAtTheStart)
{
    TickClock clock(5000);
    clock.Start(1000);
    EXPECT_EQ(clock.Elapsed(), 0U);
    EXPECT_FALSE(clock.IsOver(1000));
    EXPECT_EQ(clock.Elapsed(), 0U);
}

TEST(TickClock, BackAtTheStartTheTimeSeenBeforeStillCounts)
{
    TickClock clock(5000);
    clock.Start(1000);
    EXPECT_FALSE(clock.IsOver(4000));
    EXPECT_FALSE(clock.IsOver(1000));
    EXPECT_EQ(clock.Elapsed(), 3000U);
}

TEST(TickClock, AClockThatWentBackEndsTheTickWithTheIntervalNotAHugeTime)
{
    TickClock clock(5000);
    clock.Start(1000);
    EXPECT_TRUE(clock.IsOver(999));
    EXPECT_EQ(clock.Elapsed(), 5000U);
    clock.Start(1000);
    EXPECT_TRUE(clock.IsOver(0));
    EXPECT_EQ(clock.Elapsed(), 5000U);
}

TEST(TickClock, AClockThatWrapsWentBack)
{
    TickClock clock(5000);
    clock.Start(4294967000U);
    EXPECT_FALSE(clock.IsOver(4294967295U));
    EXPECT_TRUE(clock.IsOver(3));
    EXPECT_EQ(clock.Elapsed(), 5000U);
}

TEST(TickClock, EachTickBeginsAnew)
{
    TickClock clock(5000);
    clock.Start(1000);
    EXPECT_TRUE(clock.IsOver(9000));
    clock.Start(9000);
    EXPECT_EQ(clock.Elapsed(), 0U);
    EXPECT_FALSE(clock.IsOver(9000));
    EXPECT_FALSE(clock.IsOver(13999));
    EXPECT_TRUE(clock.IsOver(14000));
    EXPECT_EQ(clock.Interval(), 5000U);
}
