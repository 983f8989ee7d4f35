#include "held_body.h"
#include "support/child.h"
#include "support/live_child.h"
#include "vexbase/vex_event.h"
#include "vexbase/vex_output.h"
#include "vexbase/vex_thread.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

using test::AwaitEnd;
using test::HeldBody;
using test::kGenerousMs;
using test::StartHeld;

namespace {

// Records the order in which its hooks are called.
class HookThread : public VEXThread
{
public:
    explicit HookThread(bool initResult, int loops) : mInitResult(initResult), mLoops(loops) {}
    bool ThreadInit() override
    {
        mCalls += "init ";
        return mInitResult;
    }
    bool ThreadLoop() override
    {
        mCalls += "loop ";
        return --mLoops > 0;
    }
    void ThreadFlush() override { mCalls += "flush "; }

    std::string mCalls; // read after Stop only

private:
    const bool mInitResult;
    int mLoops;
};

// Loops until it is stopped.
class EndlessThread : public VEXThread
{
public:
    bool ThreadLoop() override
    {
        mLooping.Signal();
        return true;
    }
    void ThreadFlush() override { mFlushed = true; }

    VEXEvent mLooping{VEXEvent::Reset::Manual};
    std::atomic<bool> mFlushed{false};
};

} // namespace

TEST(VEXThread, RunsTheAttachedBodyOnAThreadOfItsOwn)
{
    VEXThread thread;
    std::thread::id id;
    thread.Attach([&id] { id = std::this_thread::get_id(); });
    ASSERT_EQ(thread.Start(), 0);
    EXPECT_EQ(thread.Stop(vexbase::kInfinite), 0);
    EXPECT_NE(id, std::thread::id());
    EXPECT_NE(id, std::this_thread::get_id());
}

TEST(VEXThread, StartOfARunningThreadChangesNothingAndReturnsZero)
{
    HeldBody body;
    VEXThread thread;
    StartHeld(thread, body);
    EXPECT_EQ(thread.Start(), 0);
    body.released.Signal();
    EXPECT_EQ(thread.Stop(kGenerousMs), 0);
    EXPECT_EQ(body.runs, 1);
}

TEST(VEXThread, CanBeStartedAgainAfterStop)
{
    HeldBody body;
    body.released.Signal();
    VEXThread thread;
    for (int run = 1; run <= 3; ++run) {
        StartHeld(thread, body);
        EXPECT_EQ(thread.Stop(kGenerousMs), 0);
        EXPECT_EQ(body.runs, run);
    }
}

TEST(VEXThread, CanBeStartedAgainAfterItsBodyEndedByItself)
{
    VEXThread thread;
    std::atomic<int> runs{0};
    thread.Attach([&runs] { ++runs; });
    for (int run = 1; run <= 3; ++run) {
        ASSERT_EQ(thread.Start(), 0);
        AwaitEnd(thread);
        EXPECT_EQ(runs, run);
    }
}

TEST(VEXThread, StartFailsWhenTheSystemCannotCreateAThread)
{
    test::InChild([] {
        const bool root = geteuid() == 0;
        rlimit former{};
        EXPECT_EQ(getrlimit(RLIMIT_NPROC, &former), 0);
        const rlimit none{0, former.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NPROC, &none), 0);
        if (root) { // the limit does not apply to root
            EXPECT_EQ(setresuid(65534, 65534, 0), 0);
        }
        VEXThread thread;
        EXPECT_LT(thread.Start(), 0);
        EXPECT_FALSE(thread.Active());
        EXPECT_EQ(thread.Stop(vexbase::kInfinite), 0);
        if (root) {
            EXPECT_EQ(setresuid(0, 0, 0), 0);
        }
        EXPECT_EQ(setrlimit(RLIMIT_NPROC, &former), 0);
        EXPECT_EQ(thread.Start(), 0);
    });
}

TEST(VEXThread, RunsInitOnceThenTheLoopUntilItReturnsFalseThenFlush)
{
    HookThread thread(true, 3);
    ASSERT_EQ(thread.Start(), 0);
    AwaitEnd(thread);
    EXPECT_EQ(thread.Stop(kGenerousMs), 0);
    EXPECT_EQ(thread.mCalls, "init loop loop loop flush ");
}

// VEXBrowser::ThreadInit, for instance, always returns false.
TEST(VEXThread, RunsTheLoopWhateverInitReturns)
{
    HookThread thread(false, 1);
    ASSERT_EQ(thread.Start(), 0);
    AwaitEnd(thread);
    EXPECT_EQ(thread.Stop(kGenerousMs), 0);
    EXPECT_EQ(thread.mCalls, "init loop flush ");
}

TEST(VEXThread, AStopBeforeTheLoopDoesNotSkipIt)
{
    class StoppedInInit : public HookThread
    {
    public:
        using HookThread::HookThread;
        bool ThreadInit() override
        {
            EXPECT_LT(Stop(0), 0);
            return HookThread::ThreadInit();
        }
    };
    StoppedInInit thread(true, 3);
    ASSERT_EQ(thread.Start(), 0);
    AwaitEnd(thread);
    EXPECT_EQ(thread.Stop(kGenerousMs), 0);
    EXPECT_EQ(thread.mCalls, "init loop flush ");
}

TEST(VEXThread, WithoutBodyAndHooksEndsAtOnce)
{
    VEXThread thread;
    ASSERT_EQ(thread.Start(), 0);
    AwaitEnd(thread);
    EXPECT_FALSE(thread.Terminate());
}

TEST(VEXThread, StopEndsTheLoopAndFlushes)
{
    EndlessThread thread;
    ASSERT_EQ(thread.Start(), 0);
    ASSERT_EQ(thread.mLooping.WaitForSignal(kGenerousMs), 0);
    EXPECT_TRUE(thread.Active());
    EXPECT_EQ(thread.Stop(kGenerousMs), 0);
    EXPECT_FALSE(thread.Active());
    EXPECT_TRUE(thread.mFlushed);
}

TEST(VEXThread, TerminateIsTrueFromAStopUntilTheNextStart)
{
    HeldBody body;
    VEXThread thread;
    StartHeld(thread, body);
    EXPECT_FALSE(thread.Terminate());
    EXPECT_EQ(thread.Stop(0), -3);
    EXPECT_TRUE(thread.Terminate());
    body.released.Signal();
    EXPECT_EQ(thread.Stop(kGenerousMs), 0);
    EXPECT_TRUE(thread.Terminate());
    StartHeld(thread, body);
    EXPECT_FALSE(thread.Terminate());
    EXPECT_EQ(thread.Stop(kGenerousMs), 0);
}

TEST(VEXThread, StopWaitsForItsTimeout)
{
    HeldBody body;
    VEXThread thread;
    StartHeld(thread, body);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(thread.Stop(20), -3);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
    EXPECT_TRUE(thread.Active());
    body.released.Signal();
    EXPECT_EQ(thread.Stop(vexbase::kInfinite), 0);
}

TEST(VEXThread, StopReturns0WhenTheThreadIsNotRunning)
{
    VEXThread thread;
    EXPECT_EQ(thread.Stop(0), 0);
    ASSERT_EQ(thread.Start(), 0);
    EXPECT_EQ(thread.Stop(kGenerousMs), 0);
    EXPECT_EQ(thread.Stop(0), 0);
}

TEST(VEXThread, StopOnItselfRequestsTheStopAndFails)
{
    VEXThread thread;
    std::atomic<int> status{0};
    std::atomic<bool> asked{false};
    thread.Attach([&] {
        status = thread.Stop(vexbase::kInfinite);
        asked = thread.Terminate();
    });
    ASSERT_EQ(thread.Start(), 0);
    AwaitEnd(thread);
    EXPECT_LT(status, 0);
    EXPECT_NE(status, -3);
    EXPECT_TRUE(asked);
}

TEST(VEXThread, SeveralThreadsMayStopItAtTheSameTime)
{
    for (int round = 0; round < 50; ++round) {
        EndlessThread thread;
        ASSERT_EQ(thread.Start(), 0);
        std::atomic<int> stopped{0};
        std::array<std::thread, 3> stoppers;
        for (auto &stopper : stoppers) {
            stopper = std::thread([&] { stopped += thread.Stop(vexbase::kInfinite) == 0 ? 1 : 0; });
        }
        for (auto &stopper : stoppers) {
            stopper.join();
        }
        EXPECT_EQ(stopped, 3);
    }
}

TEST(VEXThread, KnowsWhetherTheCallerIsThisThread)
{
    VEXThread thread;
    std::atomic<bool> inside{false};
    thread.Attach([&] { inside = thread.IsCurrentThread(); });
    EXPECT_FALSE(thread.IsCurrentThread());
    ASSERT_EQ(thread.Start(), 0);
    EXPECT_FALSE(thread.IsCurrentThread());
    EXPECT_EQ(thread.Stop(vexbase::kInfinite), 0);
    EXPECT_TRUE(inside);
    EXPECT_FALSE(thread.IsCurrentThread());
}

TEST(VEXThread, TheDestructorStopsABodyThatIsStillRunning)
{
    std::atomic<bool> ended{false};
    {
        VEXThread thread;
        thread.Attach([&] {
            while (!thread.Terminate()) {
                std::this_thread::yield();
            }
            ended = true;
        });
        ASSERT_EQ(thread.Start(), 0);
    }
    EXPECT_TRUE(ended);
}

// The supervisor then starts the process again. If only the thread ended, the process
// would seem to work.
TEST(VEXThread, AnExceptionEndsTheProcessWithStatus1AfterOneLine)
{
    test::LiveChild child([] {
        std::atexit([] { vexbase::WriteFault({"a static object is destroyed"}); });
        VEXThread thread;
        thread.SetThreadName("ssdp");
        thread.Attach([] { throw std::runtime_error("first line\nsecond line"); });
        EXPECT_EQ(thread.Start(), 0);
        EXPECT_EQ(thread.Stop(vexbase::kInfinite), 0);
        return 0;
    });
    EXPECT_EQ(child.WaitForEnd(), 1);
    EXPECT_TRUE(child.WaitForErr("\n"));
    EXPECT_EQ(child.Err(), "ThreadRun: An exception ended the thread \"ssdp\": first line\n");
    EXPECT_EQ(child.Out(), "");
}

TEST(VEXThread, AnExceptionOfUnknownTypeEndsTheProcess)
{
    test::LiveChild child([] {
        VEXThread thread;
        thread.SetThreadName("diagnostic");
        thread.Attach([] { throw 7; });
        EXPECT_EQ(thread.Start(), 0);
        EXPECT_EQ(thread.Stop(vexbase::kInfinite), 0);
        return 0;
    });
    EXPECT_EQ(child.WaitForEnd(), 1);
    EXPECT_TRUE(child.WaitForErr("\n"));
    EXPECT_EQ(child.Err(),
              "ThreadRun: An exception ended the thread \"diagnostic\": not a std::exception\n");
}
