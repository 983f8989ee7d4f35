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
        std::string text = "30";
        EXPECT_EQ(timing.GetMaximumAge(text), seconds * 1000) << drawn;
        EXPECT_EQ(text, std::to_string(seconds));
    }
}

TEST_F(TimingTest, MaxAgeFrom120IsKeptAndReturnedInMilliseconds)
{
    for (const char *kept : {"1800", " \t\r\n1800", "+1800", "1800 s", "1800,5", "001800"}) {
        std::string text = kept;
        EXPECT_EQ(timing.GetMaximumAge(text), 1800000U) << kept;
        EXPECT_EQ(text, kept);
    }
    std::string least = "120";
    EXPECT_EQ(timing.GetMaximumAge(least), 120000U);
    EXPECT_EQ(least, "120");
}

TEST_F(TimingTest, MaxAgeIsReadAsDecimal)
{
    // Read as hexadecimal these would be above 120; read as octal "0170" would be 120.
    for (const char *decimal : {"0x1000", "0170"}) {
        std::string text = decimal;
        const std::uint32_t milliseconds = timing.GetMaximumAge(text);
        EXPECT_TRUE(milliseconds < 130000U || milliseconds == 170000U) << decimal;
    }
    std::string text = "0170";
    EXPECT_EQ(timing.GetMaximumAge(text), 170000U);
}

TEST_F(TimingTest, MaxAgeWithoutANumberBecomes120To129)
{
    for (const char *low : {"30", "119", "0", "-1", "-1800", "-99999999999999999999", "", " ", "x",
                            "+", "-", "max-age=1800", "--1800"}) {
        std::string text = low;
        const std::uint32_t milliseconds = timing.GetMaximumAge(text);
        EXPECT_GE(milliseconds, 120000U) << low;
        EXPECT_LE(milliseconds, 129000U) << low;
        EXPECT_EQ(text, std::to_string(milliseconds / 1000)) << low;
        EXPECT_EQ(milliseconds % 1000, 0U) << low;
    }
}

TEST_F(TimingTest, LargeMaxAgeIsLimitedTo1073741Seconds)
{
    for (const char *large :
         {"1073741", "1073742", "2147483648", "4294967296", "4294967415", "99999999999999999999"}) {
        std::string text = large;
        EXPECT_EQ(timing.GetMaximumAge(text), 1073741000U) << large;
        EXPECT_EQ(text, large);
    }
    std::string text = "1073740";
    EXPECT_EQ(timing.GetMaximumAge(text), 1073740000U);
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
