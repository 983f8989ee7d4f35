#include "wsconfig/watch_policy.h"

#include <gtest/gtest.h>
#include <vector>

using wsconfig::Outage;
using wsconfig::ReconnectPause;
using Cause = Outage::Cause;

namespace {

std::vector<int> Pauses(ReconnectPause &pause, std::size_t count)
{
    std::vector<int> pauses(count);
    for (int &each : pauses) {
        each = pause.takeMs();
    }
    return pauses;
}

} // namespace

TEST(ReconnectPause, DoublesUpToTheLongest)
{
    ReconnectPause pause(250, 5000);
    EXPECT_EQ(Pauses(pause, 7), (std::vector<int>{250, 500, 1000, 2000, 4000, 5000, 5000}));
}

TEST(ReconnectPause, IsTheShortestAgainAfterReset)
{
    ReconnectPause pause(250, 5000);
    (void)Pauses(pause, 6);
    pause.reset();
    EXPECT_EQ(Pauses(pause, 2), (std::vector<int>{250, 500}));
}

TEST(ReconnectPause, DoesNotOverflow)
{
    ReconnectPause pause(1, 2147483647);
    for (int i = 0; i < 100; ++i) {
        EXPECT_GT(pause.takeMs(), 0);
    }
    EXPECT_EQ(pause.takeMs(), 2147483647);
}

TEST(Outage, ALongOutageIsReportedOnce)
{
    Outage outage;
    EXPECT_TRUE(outage.begin(Cause::NoService));
    for (int i = 0; i < 1000; ++i) {
        EXPECT_FALSE(outage.begin(Cause::NoService));
    }
}

TEST(Outage, ItsEndIsReportedOnce)
{
    Outage outage;
    EXPECT_FALSE(outage.end());
    EXPECT_TRUE(outage.begin(Cause::NoService));
    EXPECT_TRUE(outage.end());
    EXPECT_FALSE(outage.end());
    EXPECT_TRUE(outage.begin(Cause::NoService));
}

TEST(Outage, AWrongAnswerDuringAnOutageIsReportedOnce)
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
