#include "engine_fixture.h"
#include "support/stuck_folder.h"

#include <array>
#include <atomic>
#include <chrono>
#include <thread>

using test::kNet0;

namespace {

class Waiting : public test::EngineTest
{
protected:
    // A map as it stands before a wait that is to leave it alone.
    SSDPDeviceMap mOut{{"before", {}}};
};

// Waits until a count has stood still for a while.
void AwaitStandstill(const std::atomic<int> &count)
{
    for (int seen = -1; seen != count;) {
        seen = count;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
}

} // namespace

TEST_F(Waiting, TimesOutWithoutAChangeAndLeavesTheMapAlone)
{
    EXPECT_EQ(mEngine.WaitForChange(0, mOut), kVEXTimedOut);
    EXPECT_EQ(mEngine.WaitForChange(20, mOut), kVEXTimedOut);
    ASSERT_EQ(mEngine.Open(kNet0), 1U);
    EXPECT_EQ(mEngine.WaitForChange(20, mOut), kVEXTimedOut);
    EXPECT_EQ(mOut.count("before"), 1U);
}

TEST_F(Waiting, EndsWhenAPassFindsAChange)
{
    Add();
    std::thread opener([this] { EXPECT_EQ(mEngine.Open(kNet0), 1U); });
    EXPECT_EQ(mEngine.WaitForChange(60000, mOut), kVEXSuccess);
    opener.join();
    ASSERT_EQ(mOut.size(), 1U);
    EXPECT_EQ(mOut.begin()->first, "uuid:65746500-Corvia 12-192.0.2.10-0");
    EXPECT_EQ(mOut.begin()->second.hostName, "alpha");
}

TEST_F(Waiting, ReturnsEachChangeOnce)
{
    OpenAnnounced();
    EXPECT_EQ(mEngine.WaitForChange(60000, mOut), kVEXSuccess);
    EXPECT_EQ(mEngine.WaitForChange(0, mOut), kVEXTimedOut);
    EXPECT_EQ(mOut.size(), 1U);
}

TEST_F(Waiting, ReturnsAChangeThatNoPassHasSignalledYet)
{
    OpenAnnounced();
    ASSERT_EQ(mEngine.WaitForChange(0, mOut), kVEXSuccess);
    ToEngine(test::PeerDescription("Lumen", "beta")); // the pass that signals is seconds away
    Settle();
    EXPECT_EQ(mEngine.WaitForChange(0, mOut), kVEXSuccess);
    EXPECT_EQ(mOut.size(), 2U);
}

// A pass signals after a wait has timed out, and before that wait, in search of
// a change all the same, gets the lock and takes it. The signal then stands for
// nothing any more: the next wait must not take the list for an empty one.
TEST_F(Waiting, TimesOutWhenTheSignalledChangeWasTakenEarlier)
{
    test::StuckFolder documents("/var/www/html/");
    Add(); // whose document the pass writes, holding the lock
    std::thread opener([&] { documents.Run([this] { EXPECT_EQ(mEngine.Open(kNet0), 1U); }); });
    std::atomic<int> waits{0};
    std::thread earlier([&] {
        SSDPDeviceMap out;
        while (mEngine.WaitForChange(0, out) == kVEXTimedOut) {
            ++waits;
        }
        EXPECT_EQ(out.count(test::UsnOf(test::kCorvia)), 1U);
    });
    documents.AwaitSomebody();
    AwaitStandstill(waits);
    documents.Answer();
    opener.join();
    earlier.join();
    EXPECT_EQ(mPeer.Receive(), test::Alive(test::kCorvia, test::kCorviaFile));
    Settle(); // the pass is over
    EXPECT_EQ(mEngine.WaitForChange(0, mOut), kVEXTimedOut);
    EXPECT_EQ(mOut.count("before"), 1U);
    mEngine.Close();
}
