#include "engine_fixture.h"
#include "support/blocked_output.h"
#include "support/capture.h"
#include "support/child.h"

#include <dirent.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

using test::kNet0;
using test::Output;
using test::PeerNotify;

namespace {

class Failing : public test::EngineTest
{
protected:
    // A user without privileges: the limit of threads does not apply to root.
    static constexpr uid_t kOtherUser = 54321;

    // Whether this process may become that user. If an ordinary user started it, its
    // user namespace has no other user.
    static bool CanBecomeOtherUser()
    {
        uid_t inside = 0;
        uid_t outside = 0;
        uid_t count = 0;
        std::ifstream("/proc/self/uid_map") >> inside >> outside >> count;
        return kOtherUser - inside < count;
    }

    static rlim_t OwnThreads()
    {
        rlim_t count = 0;
        DIR *folder = opendir("/proc/self/task");
        // NOLINTNEXTLINE(concurrency-mt-unsafe): one thread
        while (const dirent *entry = readdir(folder)) {
            count += entry->d_name[0] != '.' ? 1U : 0U;
        }
        closedir(folder);
        return count;
    }

    // Opens and closes the engine as the other user, who may start `more` additional
    // threads. REQUIRES: called in a child process.
    void OpenWithThreads(rlim_t more, unsigned int expected)
    {
        ASSERT_EQ(setuid(kOtherUser), 0);
        std::thread([] {}).join(); // sanitizers start another thread with the first one
        rlimit limit{};
        ASSERT_EQ(getrlimit(RLIMIT_NPROC, &limit), 0);
        const rlimit narrow{OwnThreads() + more, limit.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_NPROC, &narrow), 0);
        EXPECT_EQ(mEngine.Open(kNet0), expected);
        EXPECT_EQ(mEngine.IsOpen(), expected == 1U);
        ASSERT_EQ(setrlimit(RLIMIT_NPROC, &limit), 0); // sanitizers start a thread at the end
        mEngine.Close();
    }
};

} // namespace

TEST_F(Failing, EngineClosesWhenTheSSDPThreadCannotStart)
{
    if (!CanBecomeOtherUser()) {
        GTEST_SKIP() << "needs a second user";
    }
    const Output output = test::InChild([this] { OpenWithThreads(0, 0); });
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "");
}

TEST_F(Failing, EngineOpensWhenTheDiagnosticThreadCannotStart)
{
    if (!CanBecomeOtherUser()) {
        GTEST_SKIP() << "needs a second user";
    }
    const Output output = test::InChild([this] { OpenWithThreads(1, 1); });
    EXPECT_EQ(output.err, "Open: The diagnostic thread failed to start\n");
    EXPECT_EQ(output.out, "SSDPThread: Exiting...\n");
}

TEST_F(Failing, StalledReaderOfStandardErrorDoesNotStopTheEngine)
{
    OpenAnnounced();
    test::BlockedOutput blocked(STDERR_FILENO);
    ToEngine(PeerNotify("ssdp:alive", "Lumen", "nowhere")); // reports a line
    ToEngine("first");
    Settle();
    EXPECT_EQ(Ask("gh").substr(0, 8), "HostList");
    blocked.End();
    const Output output = test::Capture([this] {
        ToEngine("second");
        Settle();
    });
    EXPECT_EQ(output.err, "Lines lost: 2 (no room, or no reader)\n"
                          "ParseSSDPPacket: Don't know what to do with this method:\nsecond\n");
}
