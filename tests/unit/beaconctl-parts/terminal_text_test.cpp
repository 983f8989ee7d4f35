#include "beaconctl/terminal_text.h"

#include <gtest/gtest.h>

using namespace beaconctl;

namespace {

constexpr const char *kTable = "  NAME\n  a\n  b\n  c\n";

} // namespace

TEST(SafeText, KeepsPrintableUtf8)
{
    EXPECT_EQ(SafeText("studio-a \"1\" \xc3\xa9 \xe6\x97\xa5 \xf0\x9f\x8e\xa5"),
              "studio-a \"1\" \xc3\xa9 \xe6\x97\xa5 \xf0\x9f\x8e\xa5");
    EXPECT_EQ(SafeText("\xef\xbf\xbd"), "\xef\xbf\xbd"); // U+FFFD itself
}

TEST(SafeText, EscapesCharactersThatActOnATerminal)
{
    EXPECT_EQ(SafeText("\x1b[31mred"), "\\x1b[31mred");
    EXPECT_EQ(SafeText(std::string_view("\0\a\b\t\n\r\x7f", 7)),
              "\\x00\\x07\\x08\\x09\\x0a\\x0d\\x7f");
    EXPECT_EQ(SafeText("\xc2\x9b"
                       "31m"),
              "\\u{009b}31m"); // the one-character CSI
}

TEST(SafeText, EscapesCharactersThatReverseOrHideText)
{
    EXPECT_EQ(SafeText("a\xe2\x80\xae"
                       "b"),
              "a\\u{202e}b");
    EXPECT_EQ(SafeText("a\xe2\x80\x8b"
                       "b"),
              "a\\u{200b}b");
    EXPECT_EQ(SafeText("a\xef\xbb\xbf"
                       "b"),
              "a\\u{feff}b");
}

TEST(SafeText, EscapesBytesThatAreNotUtf8)
{
    EXPECT_EQ(SafeText("\xff"), "\\xff");
    EXPECT_EQ(SafeText("\xc3"), "\\xc3");                   // incomplete
    EXPECT_EQ(SafeText("\xc0\xaf"), "\\xc0\\xaf");          // too long
    EXPECT_EQ(SafeText("\xed\xa0\x80"), "\\xed\\xa0\\x80"); // half a surrogate pair
}

TEST(SafeText, DoublesABackslashSoThatEscapesCannotBeForged)
{
    EXPECT_EQ(SafeText("\\x1b"), "\\\\x1b");
}

TEST(DisplayWidth, CountsColumnsNotBytes)
{
    EXPECT_EQ(DisplayWidth("abc"), 3U);
    EXPECT_EQ(DisplayWidth("\xc3\xa9"), 1U);
    EXPECT_EQ(DisplayWidth("e\xcc\x81"), 1U);    // a combining accent
    EXPECT_EQ(DisplayWidth("\xe6\x97\xa5"), 2U); // wide
    EXPECT_EQ(DisplayWidth("\xf0\x9f\x8e\xa5"), 2U);
}

TEST(DisplayWidth, CountsTwoColumnsForEveryWideCharacter)
{
    for (const char *wide : {"\xe2\x8c\x9a", "\xe2\x98\x94", "\xe2\x9a\xa1", "\xe2\x9c\x85",
                             "\xe2\xad\x95", "\xea\xa5\xa0", "\xf0\x97\x80\x80", "\xf0\x9b\x80\x80",
                             "\xf0\x9f\x80\x84", "\xf0\x9f\x88\x81"}) {
        EXPECT_EQ(DisplayWidth(wide), 2U) << wide;
    }
    for (const char *narrow : {"\xe2\x86\x92", "\xe2\x9c\x93", "\xe2\x94\x80", "\xe2\x80\xa2"}) {
        EXPECT_EQ(DisplayWidth(narrow), 1U) << narrow;
    }
}

TEST(SafeJson, KeepsHarmlessText)
{
    const std::string json = "[\"a \\\"\\n \xc3\xa9 \xf0\x9f\x8e\xa5\"]";
    EXPECT_EQ(SafeJson(json), json);
}

TEST(Shorten, KeepsATextThatFits)
{
    EXPECT_EQ(Shorten("", 8), "");
    EXPECT_EQ(Shorten("studio-a", 8), "studio-a");
    EXPECT_EQ(Shorten("\xe6\x97\xa5\xe6\x9c\xac", 4), "\xe6\x97\xa5\xe6\x9c\xac");
}

TEST(Shorten, CutsAtColumnsNotBytes)
{
    EXPECT_EQ(Shorten("studio-ab", 8), "studi...");
    EXPECT_EQ(Shorten("\xe6\x97\xa5\xe6\x9c\xac\xe6\x97\xa5", 5), "\xe6\x97\xa5...");
    EXPECT_EQ(Shorten("\xe6\x97\xa5\xe6\x9c\xac\xe6\x97\xa5", 4), "...");
    EXPECT_EQ(Shorten("e\xcc\x81tudes", 5), "e\xcc\x81t...");
}

TEST(Shorten, LimitsTheNumberOfCharactersThatTakeNoColumn)
{
    std::string accents = "a";
    for (int count = 0; count < 1000; ++count) {
        accents += "\xcc\x81";
    }
    EXPECT_LT(Shorten(accents, 8).size(), 40U);
}

TEST(ScreenText, DrawsOverTheFormerScreenWithoutWrappingLines)
{
    EXPECT_EQ(ScreenText("head", "  NAME\n  a\n", 24), "\x1b[?7l\x1b[Hhead\x1b[K\n"
                                                       "\x1b[K\n"
                                                       "  NAME\x1b[K\n"
                                                       "  a\x1b[K\n"
                                                       "\x1b[J\x1b[?7h");
}

TEST(ScreenText, ShowsAllRowsThatFit)
{
    const std::string all = "\x1b[?7l\x1b[Hhead\x1b[K\n\x1b[K\n  NAME\x1b[K\n  a\x1b[K\n"
                            "  b\x1b[K\n  c\x1b[K\n\x1b[J\x1b[?7h";
    EXPECT_EQ(ScreenText("head", kTable, 7), all);
    EXPECT_EQ(ScreenText("head", kTable, 0), all); // the height is not known
}

TEST(FitsOnScreen, AgreesWithScreenText)
{
    for (std::size_t height = 0; height < 12; ++height) {
        EXPECT_EQ(FitsOnScreen(4, height),
                  ScreenText("head", kTable, height).find(" more") == std::string::npos)
            << height;
    }
    EXPECT_TRUE(FitsOnScreen(4, 7));
    EXPECT_FALSE(FitsOnScreen(4, 6));
}

TEST(ScreenText, CountsTheRowsThatDoNotFit)
{
    EXPECT_EQ(ScreenText("head", kTable, 6),
              "\x1b[?7l\x1b[Hhead\x1b[K\n\x1b[K\n  NAME\x1b[K\n  a\x1b[K\n  and 2 more\x1b[K\n"
              "\x1b[J\x1b[?7h");
}

TEST(ScreenText, KeepsTheHeadingsInTheSmallestWindow)
{
    EXPECT_EQ(ScreenText("head", kTable, 1),
              "\x1b[?7l\x1b[Hhead\x1b[K\n\x1b[K\n  NAME\x1b[K\n  and 3 more\x1b[K\n\x1b[J\x1b[?7h");
}

TEST(ScreenText, OfAnEmptyTableIsTheHead)
{
    EXPECT_EQ(ScreenText("head", "", 24), "\x1b[?7l\x1b[Hhead\x1b[K\n\x1b[K\n\x1b[J\x1b[?7h");
}
