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
    // To whom the system's limit of threads applies, as it does not to root.
    static constexpr uid_t kNobodyElse = 54321;

    // Whether this process may become that user. Started by an ordinary user it
    // has a user namespace with nobody else in it.
    static bool CanBeNobodyElse()
    {
        uid_t inside = 0;
        uid_t outside = 0;
        uid_t count = 0;
        std::ifstream("/proc/self/uid_map") >> inside >> outside >> count;
        return kNobodyElse - inside < count;
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

    // Opens the engine as a user who may have so many more threads, and closes
    // it. For a child process.
    void OpenWithThreads(rlim_t more, unsigned int expected)
    {
        ASSERT_EQ(setuid(kNobodyElse), 0);
        std::thread([] {}).join(); // with the first one come the sanitizers' own
        rlimit limit{};
        ASSERT_EQ(getrlimit(RLIMIT_NPROC, &limit), 0);
        const rlimit narrow{OwnThreads() + more, limit.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_NPROC, &narrow), 0);
        EXPECT_EQ(mEngine.Open(kNet0), expected);
        EXPECT_EQ(mEngine.IsOpen(), expected == 1U);
        ASSERT_EQ(setrlimit(RLIMIT_NPROC, &limit), 0); // sanitizers want a thread at the end
        mEngine.Close();
    }
};

} // namespace

TEST_F(Failing, EngineClosesWhenTheSSDPThreadCannotStart)
{
    if (!CanBeNobodyElse()) {
        GTEST_SKIP() << "needs a second user, to whom the limit of threads applies";
    }
    const Output output = test::InChild([this] { OpenWithThreads(0, 0); });
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "");
}

TEST_F(Failing, EngineOpensWhenTheDiagnosticThreadCannotStart)
{
    if (!CanBeNobodyElse()) {
        GTEST_SKIP() << "needs a second user, to whom the limit of threads applies";
    }
    const Output output = test::InChild([this] { OpenWithThreads(1, 1); });
    EXPECT_EQ(output.err, "Open: The diagnostic thread failed to start\n");
    EXPECT_EQ(output.out, "SSDPThread: Exiting...\n");
}

TEST_F(Failing, StalledReaderOfStandardErrorDoesNotStopTheEngine)
{
    OpenAnnounced();
    test::BlockedOutput blocked(STDERR_FILENO);
    ToEngine(PeerNotify("ssdp:alive", "Lumen", "nowhere")); // its line is written under the lock
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
