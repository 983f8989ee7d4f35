#include "wsconfig/reconnect_pause.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

std::vector<int> Pauses(ReconnectPause &pause, std::size_t count)
{
    std::vector<int> pauses(count);
    for (int &each : pauses) {
        each = pause.next();
    }
    return pauses;
}

} // namespace

TEST(ReconnectPause, GrowsTwofoldUpToTheLongest)
{
    ReconnectPause pause(250, 5000);
    EXPECT_EQ(Pauses(pause, 7), (std::vector<int>{250, 500, 1000, 2000, 4000, 5000, 5000}));
}

TEST(ReconnectPause, StartsOverAfterAReset)
{
    ReconnectPause pause(250, 5000);
    (void)Pauses(pause, 6);
    pause.reset();
    EXPECT_EQ(Pauses(pause, 2), (std::vector<int>{250, 500}));
}

TEST(ReconnectPause, StaysInRangeForEver)
{
    ReconnectPause pause(1, 2147483647);
    for (int i = 0; i < 100; ++i) {
        EXPECT_GT(pause.next(), 0);
    }
    EXPECT_EQ(pause.next(), 2147483647);
}
