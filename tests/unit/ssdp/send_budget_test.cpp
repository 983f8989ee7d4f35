#include "ssdp/flood_limits.h"

#include <gtest/gtest.h>
#include <limits>

using ssdp::SendBudget;

namespace {

// Spends bytes one by one until none is left. Returns their number.
int SpendAll(SendBudget &budget, std::uint32_t nowMs)
{
    budget.Refill(nowMs);
    int spent = 0;
    while (budget.Spend(1)) {
        ++spent;
    }
    return spent;
}

} // namespace

TEST(SendBudget, AllowsOnlyItsBurstAtOnce)
{
    SendBudget budget(1000, 100);
    EXPECT_TRUE(budget.Spend(1000));
    EXPECT_FALSE(budget.Spend(1));
    EXPECT_TRUE(budget.Spend(0));
}

TEST(SendBudget, SpendsNothingWhenTooFewBytesAreLeft)
{
    SendBudget budget(1000, 100);
    EXPECT_FALSE(budget.Spend(1001));
    EXPECT_TRUE(budget.Spend(400));
    EXPECT_FALSE(budget.Spend(601));
    EXPECT_TRUE(budget.Spend(600));
}

TEST(SendBudget, HasSpendsNothing)
{
    SendBudget budget(1000, 100);
    EXPECT_TRUE(budget.Has(1000));
    EXPECT_TRUE(budget.Has(1000));
    EXPECT_FALSE(budget.Has(1001));
    EXPECT_TRUE(budget.Spend(1000));
    EXPECT_FALSE(budget.Has(1));
    budget.Refill(1000);
    EXPECT_TRUE(budget.Has(100));
    EXPECT_FALSE(budget.Has(101));
}

TEST(SendBudget, RefillsByItsRateASecond)
{
    SendBudget budget(1000, 100);
    EXPECT_EQ(SpendAll(budget, 0), 1000);
    EXPECT_EQ(SpendAll(budget, 1000), 100);
    EXPECT_EQ(SpendAll(budget, 3500), 250);
}

TEST(SendBudget, RefillsWithoutLossEveryMillisecond)
{
    SendBudget budget(1000, 100);
    EXPECT_EQ(SpendAll(budget, 0), 1000);
    int spent = 0;
    for (std::uint32_t nowMs = 1; nowMs <= 10000; ++nowMs) {
        spent += SpendAll(budget, nowMs);
    }
    EXPECT_EQ(spent, 1000);
}

TEST(SendBudget, NeverHoldsMoreThanItsBurst)
{
    SendBudget budget(1000, 100);
    EXPECT_TRUE(budget.Spend(500));
    EXPECT_EQ(SpendAll(budget, 3600000), 1000);
}

TEST(SendBudget, IsFullAtAnyFirstTime)
{
    for (const std::uint32_t nowMs : {0U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        SendBudget budget(1000, 100);
        EXPECT_EQ(SpendAll(budget, nowMs), 1000);
    }
}

TEST(SendBudget, RefillsWhileTheClockWraps)
{
    SendBudget budget(1000, 100);
    EXPECT_EQ(SpendAll(budget, std::numeric_limits<std::uint32_t>::max() - 499), 1000);
    EXPECT_EQ(SpendAll(budget, 500), 100);
}

TEST(SendBudget, RefillsNothingWhenTheClockGoesBack)
{
    SendBudget budget(1000, 100);
    EXPECT_EQ(SpendAll(budget, 60000), 1000);
    EXPECT_EQ(SpendAll(budget, 30000), 0);
    EXPECT_EQ(SpendAll(budget, 31000), 100);
}
