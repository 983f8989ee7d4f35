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
    // A wait without a change must leave this entry alone.
    formats::SSDPDeviceMap mOut{{"before", {}}};
};

// Waits until a count has not changed for 100 ms.
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
    EXPECT_EQ(mEngine.WaitForChange(0, mOut), vexbase::kTimedOut);
    EXPECT_EQ(mEngine.WaitForChange(20, mOut), vexbase::kTimedOut);
    ASSERT_EQ(mEngine.Open(kNet0), 1U);
    EXPECT_EQ(mEngine.WaitForChange(20, mOut), vexbase::kTimedOut);
    EXPECT_EQ(mOut.count("before"), 1U);
}

TEST_F(Waiting, EndsWhenAPassFindsAChange)
{
    Add();
    std::thread opener([this] { EXPECT_EQ(mEngine.Open(kNet0), 1U); });
    EXPECT_EQ(mEngine.WaitForChange(60000, mOut), vexbase::kSuccess);
    opener.join();
    ASSERT_EQ(mOut.size(), 1U);
    EXPECT_EQ(mOut.begin()->first, "uuid:65746500-Corvia 12-192.0.2.10-0");
    EXPECT_EQ(mOut.begin()->second.hostName, "alpha");
}

TEST_F(Waiting, EndsWhenALaterPassFindsAChange)
{
    OpenAnnounced();
    ASSERT_EQ(mEngine.WaitForChange(60000, mOut), vexbase::kSuccess); // the first pass's signal
    Add("Lumen");
    EXPECT_EQ(mEngine.WaitForChange(vexbase::kInfinite, mOut), vexbase::kSuccess);
    EXPECT_EQ(mOut.size(), 2U);
}

TEST_F(Waiting, ReturnsEachChangeOnce)
{
    OpenAnnounced();
    EXPECT_EQ(mEngine.WaitForChange(60000, mOut), vexbase::kSuccess);
    EXPECT_EQ(mEngine.WaitForChange(0, mOut), vexbase::kTimedOut);
    EXPECT_EQ(mOut.size(), 1U);
}

TEST_F(Waiting, ReturnsAChangeThatNoPassHasSignalledYet)
{
    OpenAnnounced();
    ASSERT_EQ(mEngine.WaitForChange(0, mOut), vexbase::kSuccess);
    // The next pass, which signals the change, is seconds away.
    ToEngine(test::PeerDescription("Lumen", "beta"));
    Settle();
    EXPECT_EQ(mEngine.WaitForChange(0, mOut), vexbase::kSuccess);
    EXPECT_EQ(mOut.size(), 2U);
}

// A wait times out and blocks at the engine lock. Meanwhile a pass makes a change and
// signals it. The wait then takes that change, but the signal stays. The next wait finds
// the signal without a change, and must report a time-out.
TEST_F(Waiting, TimesOutWhenTheSignalledChangeWasTakenEarlier)
{
    test::StuckFolder documents("/var/www/html/");
    Add(); // the pass writes its document while it holds the lock
    std::thread opener([&] { documents.Run([this] { EXPECT_EQ(mEngine.Open(kNet0), 1U); }); });
    std::atomic<int> waits{0};
    std::thread earlier([&] {
        formats::SSDPDeviceMap out;
        while (mEngine.WaitForChange(0, out) == vexbase::kTimedOut) {
            ++waits;
        }
        EXPECT_EQ(out.count(test::UsnOf(test::kCorvia)), 1U);
    });
    documents.AwaitCall();
    AwaitStandstill(waits);
    documents.Answer();
    opener.join();
    earlier.join();
    EXPECT_EQ(mPeer.Receive(), test::Alive(test::kCorvia, test::kCorviaFile));
    Settle(); // the pass is over
    EXPECT_EQ(mEngine.WaitForChange(0, mOut), vexbase::kTimedOut);
    EXPECT_EQ(mOut.count("before"), 1U);
    mEngine.Close();
}
