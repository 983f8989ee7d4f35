#include "engine_fixture.h"
#include "support/blocked_output.h"
#include "support/capture.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <sys/syscall.h>
#include <unistd.h>

// The engine continues when the reader of its lines stalls, or when their medium is slow.

using test::PeerNotify;

namespace {

// Blocks threads that write to standard error, like a slow medium.
class SlowMedium
{
public:
    void Begin()
    {
        const std::lock_guard<std::mutex> held(mMutex);
        mSlow = true;
    }
    void End()
    {
        const std::lock_guard<std::mutex> held(mMutex);
        mSlow = false;
        mChanged.notify_all();
    }
    // Called by the writing thread.
    void Write()
    {
        std::unique_lock<std::mutex> held(mMutex);
        mWaiting = mSlow;
        mChanged.notify_all();
        mChanged.wait(held, [this] { return !mSlow; });
        mWaiting = false;
    }
    // Waits until a thread writes. Returns false after one minute.
    [[nodiscard]] bool AwaitWriter()
    {
        std::unique_lock<std::mutex> held(mMutex);
        return mChanged.wait_for(held, std::chrono::minutes(1), [this] { return mWaiting; });
    }

private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    // Guarded by mMutex:
    bool mSlow = false;
    bool mWaiting = false;
};

SlowMedium gMedium;

using WritingLines = test::EngineTest;

} // namespace

// Replaces the C library's function in this program.
extern "C" ssize_t write(int descriptor, const void *data, size_t size)
{
    if (descriptor == STDERR_FILENO) {
        gMedium.Write();
    }
    return syscall(SYS_write, descriptor, data, size);
}

TEST_F(WritingLines, HappensWithoutTheEngineLock)
{
    OpenAnnounced();
    const test::Output output = test::Capture([this] {
        gMedium.Begin();
        ToEngine(PeerNotify("ssdp:alive", "Lumen", "nowhere"));
        EXPECT_TRUE(gMedium.AwaitWriter());
        EXPECT_EQ(Ask("gh").substr(0, 8), "HostList"); // takes the lock
        gMedium.End();
        Settle();
    });
    EXPECT_EQ(output.err, "SendGETRequest: Unable to find the http string\n");
}

TEST_F(WritingLines, ToAStalledReaderStopsNeitherDiagnosticsNorAnnouncements)
{
    OpenAnnounced();
    test::BlockedOutput blocked(STDERR_FILENO);
    ToEngine(PeerNotify("ssdp:alive", "Lumen", "nowhere"));
    ToEngine("no method");
    EXPECT_EQ(Ask("GH"), "No such command as \"GH\""); // reports a line, too
    EXPECT_EQ(Ask("gh").substr(0, 8), "HostList");
    Settle();
    Add("ZR2");
    EXPECT_EQ(mPeer.Receive(), test::Alive("ZR2", "zr2_upnp_ssdp_2.xml"));
    blocked.End();
    const test::Output output = test::Capture([this] {
        ToEngine(PeerNotify("ssdp:alive", "Lumen", "nowhere"));
        Settle();
    });
    EXPECT_EQ(output.err, "Lines lost: 3 (no room, or no reader)\n"
                          "SendGETRequest: Unable to find the http string\n");
}
