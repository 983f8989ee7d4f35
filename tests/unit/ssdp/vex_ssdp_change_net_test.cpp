#include "engine_fixture.h"

#include <array>
#include <thread>

using test::kNet0;

namespace {

class Waiting : public test::EngineTest
{
protected:
    // A map as it stands before a wait that is to leave it alone.
    SSDPDeviceMap mOut{{"before", {}}};
};

} // namespace

TEST_F(Waiting, TimesOutWithoutAChangeAndLeavesTheMapAlone)
{
    EXPECT_EQ(mEngine.WaitForChange(0, mOut), kVEXTimedOut);
    EXPECT_EQ(mEngine.WaitForChange(20, mOut), kVEXTimedOut);
    ASSERT_EQ(mEngine.Open(kNet0), 1U);
    EXPECT_EQ(mEngine.WaitForChange(20, mOut), kVEXTimedOut);
    EXPECT_EQ(mOut.count("before"), 1U);
}

TEST_F(Waiting, IsEndedByAPassThatFoundAChange)
{
    Add();
    std::thread opener([this] { EXPECT_EQ(mEngine.Open(kNet0), 1U); });
    EXPECT_EQ(mEngine.WaitForChange(60000, mOut), kVEXSuccess);
    opener.join();
    ASSERT_EQ(mOut.size(), 1U);
    EXPECT_EQ(mOut.begin()->first, "uuid:65746500-Corvia 12-192.0.2.10-0");
    EXPECT_EQ(mOut.begin()->second.hostName, "alpha");
}

TEST_F(Waiting, GetsEachChangeOnce)
{
    OpenAnnounced();
    EXPECT_EQ(mEngine.WaitForChange(60000, mOut), kVEXSuccess);
    EXPECT_EQ(mEngine.WaitForChange(0, mOut), kVEXTimedOut);
    EXPECT_EQ(mOut.size(), 1U);
}

TEST_F(Waiting, TakesAChangeAlsoWhenTheTimeRunsOutBeforeThePass)
{
    OpenAnnounced();
    ASSERT_EQ(mEngine.WaitForChange(0, mOut), kVEXSuccess);
    ToEngine(test::PeerDescription("Lumen", "beta")); // the pass that signals is seconds away
    Settle();
    EXPECT_EQ(mEngine.WaitForChange(0, mOut), kVEXSuccess);
    EXPECT_EQ(mOut.size(), 2U);
}

// Several waits end with one signal, of which the first takes the change: the
// others must not take the list for an empty one.
TEST_F(Waiting, ThatIsSignalledButComesTooLateForTheChangeTimesOut)
{
    struct Waiter
    {
        SSDPDeviceMap out{{"before", {}}};
        int status = 77;
        std::thread thread;
    };
    std::array<Waiter, 16> waiters;
    for (Waiter &waiter : waiters) {
        waiter.thread = std::thread(
            [this, &waiter] { waiter.status = mEngine.WaitForChange(2000, waiter.out); });
    }
    OpenAnnounced();
    int refreshed = 0;
    for (Waiter &waiter : waiters) {
        waiter.thread.join();
        if (waiter.status == kVEXSuccess) {
            ++refreshed;
            EXPECT_EQ(waiter.out.count(test::UsnOf(test::kCorvia)), 1U);
        } else {
            EXPECT_EQ(waiter.status, kVEXTimedOut);
            EXPECT_EQ(waiter.out.count("before"), 1U);
        }
    }
    EXPECT_EQ(refreshed, 1);
}
