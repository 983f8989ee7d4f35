#include "beaconctl/screen.h"

#include <gtest/gtest.h>

namespace {

constexpr const char *kTable = "  NAME\n  a\n  b\n  c\n";

} // namespace

TEST(ScreenText, DrawsOverWhatStandsThereWithoutWrappingLines)
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

TEST(ScreenText, CountsTheRowsThatDoNotFit)
{
    EXPECT_EQ(ScreenText("head", kTable, 6),
              "\x1b[?7l\x1b[Hhead\x1b[K\n\x1b[K\n  NAME\x1b[K\n  a\x1b[K\n  and 2 more\x1b[K\n"
              "\x1b[J\x1b[?7h");
}

TEST(ScreenText, KeepsTheHeadingsInTheLeastOfWindows)
{
    EXPECT_EQ(ScreenText("head", kTable, 1),
              "\x1b[?7l\x1b[Hhead\x1b[K\n\x1b[K\n  NAME\x1b[K\n  and 3 more\x1b[K\n\x1b[J\x1b[?7h");
}

TEST(ScreenText, OfAnEmptyTableIsTheHead)
{
    EXPECT_EQ(ScreenText("head", "", 24), "\x1b[?7l\x1b[Hhead\x1b[K\n\x1b[K\n\x1b[J\x1b[?7h");
}
