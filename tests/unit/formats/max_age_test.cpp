#include "formats/max_age.h"

#include <gtest/gtest.h>
#include <set>

using formats::GetMaximumAge;
using formats::GetMaximumAgeString;
using formats::ReadMaxAgeDirective;

namespace {

std::string MaximumAgeString(std::string_view message, std::string out = "")
{
    GetMaximumAgeString(message, out);
    return out;
}

} // namespace

TEST(GetMaximumAge, IsTheTextsSecondsInMillisecondsAndLeavesTheTextAlone)
{
    for (const char *kept : {"1800", " \t\r\n1800", "+1800", "1800 s", "1800,5", "001800"}) {
        std::string text = kept;
        EXPECT_EQ(GetMaximumAge(text), 1800000U) << kept;
        EXPECT_EQ(text, kept);
    }
    std::string least = "120";
    EXPECT_EQ(GetMaximumAge(least), 120000U);
    EXPECT_EQ(least, "120");
}

TEST(GetMaximumAge, ReadsDecimalDigitsAlone)
{
    // As hexadecimal or octal these would be above 120.
    for (const char *decimal : {"0x1000", "0170"}) {
        std::string text = decimal;
        const std::uint32_t milliseconds = GetMaximumAge(text);
        EXPECT_TRUE(milliseconds < 130000U || milliseconds == 170000U) << decimal;
    }
    std::string text = "0170";
    EXPECT_EQ(GetMaximumAge(text), 170000U);
}

TEST(GetMaximumAge, ReplacesWhatIsBelow120OrNoNumberBy120To129Seconds)
{
    for (const char *low : {"30", "119", "0", "-1", "-1800", "-99999999999999999999", "", " ", "x",
                            "+", "-", "max-age=1800", "--1800"}) {
        std::string text = low;
        const std::uint32_t milliseconds = GetMaximumAge(text);
        EXPECT_GE(milliseconds, 120000U) << low;
        EXPECT_LE(milliseconds, 129000U) << low;
        EXPECT_EQ(text, std::to_string(milliseconds / 1000)) << low;
        EXPECT_EQ(milliseconds % 1000, 0U) << low;
    }
}

TEST(GetMaximumAge, DrawsEverySecondFrom120To129)
{
    std::set<std::uint32_t> drawn;
    for (int i = 0; i < 2000; ++i) {
        std::string text = "30";
        drawn.insert(GetMaximumAge(text));
    }
    EXPECT_EQ(drawn, (std::set<std::uint32_t>{120000, 121000, 122000, 123000, 124000, 125000,
                                              126000, 127000, 128000, 129000}));
}

TEST(GetMaximumAge, WhatIsTooLargeCountsAsTheLargestWhoseDoubleFits31Bits)
{
    for (const char *large :
         {"1073741", "1073742", "2147483648", "4294967296", "4294967415", "99999999999999999999"}) {
        std::string text = large;
        EXPECT_EQ(GetMaximumAge(text), 1073741000U) << large;
        EXPECT_EQ(text, large);
    }
    std::string text = "1073740";
    EXPECT_EQ(GetMaximumAge(text), 1073740000U);
}

TEST(GetMaximumAgeString, IsWhatStandsBetweenMaxAgeAndTheLinesEnd)
{
    EXPECT_EQ(MaximumAgeString("CACHE-CONTROL: max-age=1800\r\nEXT:\r\n"), "1800");
    EXPECT_EQ(MaximumAgeString("max-age=1800, x \r\n"), "1800, x ");
    EXPECT_EQ(MaximumAgeString("max-age=1\r\nmax-age=2\r\n"), "1");
    EXPECT_EQ(MaximumAgeString("\r\nmax-age=1\n\r\r\n"), "1\n\r");
    EXPECT_EQ(MaximumAgeString("max-age=60\r\n", "before"), "60");
}

TEST(GetMaximumAgeString, MissingMarksMake120OfAnEmptyTextAndLeaveAnother)
{
    for (const char *message : {"", "max-age 5\r\n", "MAX-AGE=5\r\n", "max-age=5",
                                "max-age=", "\r\nmax-age=5\n", "\r\n"}) {
        EXPECT_EQ(MaximumAgeString(message), "120") << message;
        EXPECT_EQ(MaximumAgeString(message, "1800"), "1800") << message;
    }
}

TEST(GetMaximumAgeString, NothingBetweenTheMarksMakes120OfAnyText)
{
    EXPECT_EQ(MaximumAgeString("max-age=\r\n"), "120");
    EXPECT_EQ(MaximumAgeString("max-age=\r\n", "1800"), "120");
}

TEST(ReadMaxAgeDirective, ReadsLikeStrtolWithBase0)
{
    EXPECT_EQ(ReadMaxAgeDirective("60"), 60);
    EXPECT_EQ(ReadMaxAgeDirective(" \t\n\v\f\r60 "), 60);
    EXPECT_EQ(ReadMaxAgeDirective("-60"), -60);
    EXPECT_EQ(ReadMaxAgeDirective("- 60"), 0);
    EXPECT_EQ(ReadMaxAgeDirective("0xfF"), 255);
    EXPECT_EQ(ReadMaxAgeDirective("-0x10"), -16);
    EXPECT_EQ(ReadMaxAgeDirective("017"), 15);
    EXPECT_EQ(ReadMaxAgeDirective("0x-1"), 0);
    EXPECT_EQ(ReadMaxAgeDirective(""), 0);
    EXPECT_EQ(ReadMaxAgeDirective(std::string_view("6\0000", 3)), 6);
}
