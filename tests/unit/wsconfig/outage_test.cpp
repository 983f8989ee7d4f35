#include "wsconfig/outage.h"

#include <gtest/gtest.h>

using Cause = Outage::Cause;

TEST(Outage, TellsTheLossOnceHoweverLongItLasts)
{
    Outage outage;
    EXPECT_TRUE(outage.begin(Cause::NoService));
    for (int i = 0; i < 1000; ++i) {
        EXPECT_FALSE(outage.begin(Cause::NoService));
    }
}

TEST(Outage, TellsTheReturnOnce)
{
    Outage outage;
    EXPECT_FALSE(outage.end());
    EXPECT_TRUE(outage.begin(Cause::NoService));
    EXPECT_TRUE(outage.end());
    EXPECT_FALSE(outage.end());
    EXPECT_TRUE(outage.begin(Cause::NoService));
}

TEST(Outage, TellsOnceThatTheServiceIsThereButAnswersWrongly)
{
    Outage outage;
    EXPECT_TRUE(outage.begin(Cause::NoService));
    EXPECT_TRUE(outage.begin(Cause::WrongAnswer));
    EXPECT_FALSE(outage.begin(Cause::NoService));
    EXPECT_FALSE(outage.begin(Cause::WrongAnswer));
    EXPECT_TRUE(outage.end());
    EXPECT_TRUE(outage.begin(Cause::WrongAnswer));
    EXPECT_FALSE(outage.begin(Cause::NoService));
}
