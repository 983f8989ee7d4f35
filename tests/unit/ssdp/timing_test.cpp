#include "ssdp/timing.h"

#include "support/fake_environment.h"

#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <string>

namespace {

class TimingTest : public testing::Test
{
protected:
    test::FakeEnvironment environment;
    ssdp::Timing timing{environment};
};

using Draws = std::map<std::uint32_t, std::uint32_t>; // random number to result

} // namespace

TEST_F(TimingTest, PollIntervalIs4250To5749Milliseconds)
{
    for (const auto &[drawn, interval] :
         Draws{{0, 4250}, {1, 4251}, {1499, 5749}, {1500, 4250}, {2147483647, 5397}}) {
        environment.random = drawn;
        timing.DrawPollInterval();
        EXPECT_EQ(timing.PollIntervalMs(), interval) << drawn;
    }
}

TEST_F(TimingTest, ExchangeDelayIsUpToThreePollIntervals)
{
    environment.random = 750;
    timing.DrawPollInterval();
    for (const auto &[drawn, delay] :
         Draws{{0, 0}, {14999, 14999}, {15000, 0}, {2147483647, 8647}}) {
        environment.random = drawn;
        EXPECT_EQ(timing.DrawExchangeDelayMs(), delay) << drawn;
    }
}

TEST_F(TimingTest, AnnouncePeriodIs15To24Seconds)
{
    for (const auto &[drawn, period] :
         Draws{{0, 15000}, {9, 24000}, {10, 15000}, {2147483647, 22000}}) {
        environment.random = drawn;
        EXPECT_EQ(timing.DrawAnnouncePeriodMs(), period) << drawn;
    }
}

TEST_F(TimingTest, MaxAgeBelow120IsReplacedBy120To129)
{
    for (const auto &[drawn, seconds] : Draws{{0, 120}, {9, 129}, {10, 120}, {2147483647, 127}}) {
        environment.random = drawn;
        for (const char *low : {"30", "119"}) {
            std::string text = low;
            EXPECT_EQ(timing.GetMaximumAge(text), seconds * 1000) << drawn;
            EXPECT_EQ(text, std::to_string(seconds));
        }
    }
}

TEST_F(TimingTest, MaxAgeFrom120IsKeptAndReturnedInMillisecondsUpToALimit)
{
    environment.random = 5;
    const std::map<std::string, std::uint32_t> kept{
        {"120", 120000}, {"1800", 1800000}, {"1073742", 1073741000}};
    for (const auto &[seconds, milliseconds] : kept) {
        std::string text = seconds;
        EXPECT_EQ(timing.GetMaximumAge(text), milliseconds);
        EXPECT_EQ(text, seconds);
    }
}

TEST(Countdowns, OfTheLongestPeriodFit31Bits)
{
    EXPECT_EQ(ssdp::RefreshedCountdownMs(1073741000), 2147482000);
    EXPECT_EQ(ssdp::RefreshedCountdownMs(120000), 240000);
    EXPECT_EQ(ssdp::HandBackCountdownMs(1073741000), 536870500);
    EXPECT_EQ(ssdp::HandBackCountdownMs(120000), 60000);
}

TEST(Countdowns, StopAtTheLeastValue)
{
    constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();
    EXPECT_EQ(ssdp::LoweredCountdownMs(5000, 6000), -1000);
    EXPECT_EQ(ssdp::LoweredCountdownMs(kLeast + 1, 2), kLeast);
    EXPECT_EQ(ssdp::LoweredCountdownMs(kLeast, 2147483647), kLeast);
}
