#include "formats/ssdp_headers.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>

using formats::GetMaximumAgeString;
using formats::ReadMaxAgeDirective;

namespace {

std::string MaximumAgeString(std::string_view message, std::string out = "")
{
    GetMaximumAgeString(message, out);
    return out;
}

} // namespace

TEST(ReadMaximumAge, ReadsDecimalSeconds)
{
    for (const char *text : {"1800", " \t\r\n1800", "+1800", "1800 s", "1800,5", "001800"}) {
        EXPECT_EQ(formats::ReadMaximumAge(text), 1800U) << text;
    }
    EXPECT_EQ(formats::ReadMaximumAge("0x1000"), 0U);
    EXPECT_EQ(formats::ReadMaximumAge("0170"), 170U);
}

TEST(ReadMaximumAge, Is0WithoutANumberOrWithANegativeOne)
{
    for (const char *text :
         {"0", "-1", "-99999999999999999999", "", " ", "x", "+", "-", "max-age=1800", "--1800"}) {
        EXPECT_EQ(formats::ReadMaximumAge(text), 0U) << text;
    }
}

TEST(ReadMaximumAge, LimitsTheSecondsSoThatTwiceTheirMillisecondsFit31Bits)
{
    for (const char *text :
         {"1073741", "1073742", "2147483648", "4294967296", "4294967415", "99999999999999999999"}) {
        EXPECT_EQ(formats::ReadMaximumAge(text), 1073741U) << text;
    }
    EXPECT_EQ(formats::ReadMaximumAge("1073740"), 1073740U);
}

TEST(GetMaximumAgeString, IsTheTextBetweenMaxAgeAndTheEndOfTheLine)
{
    EXPECT_EQ(MaximumAgeString("CACHE-CONTROL: max-age=1800\r\nEXT:\r\n"), "1800");
    EXPECT_EQ(MaximumAgeString("max-age=1800, x \r\n"), "1800, x ");
    EXPECT_EQ(MaximumAgeString("max-age=1\r\nmax-age=2\r\n"), "1");
    EXPECT_EQ(MaximumAgeString("\r\nmax-age=1\n\r\r\n"), "1\n\r");
    EXPECT_EQ(MaximumAgeString("max-age=60\r\n", "before"), "60");
}

TEST(GetMaximumAgeString, WithoutMaxAgeOrLineEndAnEmptyTextBecomes120AndAnotherIsKept)
{
    for (const char *message : {"", "max-age 5\r\n", "MAX-AGE=5\r\n", "max-age=5",
                                "max-age=", "\r\nmax-age=5\n", "\r\n"}) {
        EXPECT_EQ(MaximumAgeString(message), "120") << message;
        EXPECT_EQ(MaximumAgeString(message, "1800"), "1800") << message;
    }
}

TEST(GetMaximumAgeString, AnEmptyMaxAgeReplacesAnyTextBy120)
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
