#include "held_body.h"
#include "support/capture.h"
#include "vexbase/vex_event.h"
#include "vexbase/vex_file_io.h"
#include "vexbase/vex_thread.h"
#include "vexbase/vex_udp_socket.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

// The thread sanitizer does not support threads that end inside a system call.
#if defined(__SANITIZE_THREAD__)
#define UNDER_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define UNDER_THREAD_SANITIZER 1
#endif
#endif

using test::AwaitEnd;
using test::kGenerousMs;

namespace {

// Records its destruction.
class Scope
{
public:
    explicit Scope(std::atomic<bool> &left) : mLeft(left) {}
    Scope(const Scope &) = delete;
    Scope &operator=(const Scope &) = delete;
    ~Scope() { mLeft = true; }

private:
    std::atomic<bool> &mLeft;
};

void BlockForEver()
{
    VEXEvent never(VEXEvent::Reset::Manual);
    static_cast<void>(never.WaitForSignal(vexbase::kInfinite));
}

// Starts a body and waits until it reports that it runs.
void StartAndAwait(VEXThread &thread, VEXEvent &running)
{
    ASSERT_EQ(thread.Start(), 0);
    ASSERT_EQ(running.WaitForSignal(kGenerousMs), 0);
}

// Loops without a single cancellation point.
class BusyThread : public VEXThread
{
public:
    bool ThreadLoop() override
    {
        mRunning.Signal();
        return true;
    }
    void ThreadFlush() override { mFlushed = true; }

    VEXEvent mRunning{VEXEvent::Reset::Manual};
    std::atomic<bool> mFlushed{false};
};

} // namespace

TEST(VEXThreadKill, EndsABlockedBodyAndDestroysItsObjects)
{
    VEXThread thread;
    VEXEvent running(VEXEvent::Reset::Manual);
    std::atomic<bool> released{false};
    std::atomic<bool> wentOn{false};
    thread.Attach([&] {
        const Scope scope(released);
        running.Signal();
        BlockForEver();
        wentOn = true;
    });
    const test::Output output = test::Capture([&] {
        StartAndAwait(thread, running);
        thread.Kill();
    });
    EXPECT_TRUE(released);
    EXPECT_FALSE(wentOn);
    EXPECT_FALSE(thread.Active());
    EXPECT_EQ(output.err, ""); // Kill is not reported as an exception
}

TEST(VEXThreadKill, EndsABodyThatWaitsForAnEvent)
{
    VEXThread thread;
    VEXEvent running(VEXEvent::Reset::Manual);
    VEXEvent never(VEXEvent::Reset::Manual);
    for (const unsigned int timeoutMs : {vexbase::kInfinite, vexbase::kInfinite - 1}) {
        thread.Attach([&] {
            running.Signal();
            static_cast<void>(never.WaitForSignal(timeoutMs));
        });
        StartAndAwait(thread, running);
        thread.Kill();
        EXPECT_FALSE(thread.Active());
        never.Signal(); // the event's mutex has been released
        never.Clear();
        running.Clear();
    }
}

TEST(VEXThreadKill, SkipsThreadFlush)
{
    BusyThread thread;
    StartAndAwait(thread, thread.mRunning);
    thread.Kill();
    EXPECT_FALSE(thread.Active());
    EXPECT_FALSE(thread.mFlushed);
}

TEST(VEXThreadKill, AllowsTheThreadToStartAgain)
{
    VEXThread thread;
    VEXEvent running(VEXEvent::Reset::Automatic);
    thread.Attach([&] {
        running.Signal();
        BlockForEver();
    });
    for (int round = 0; round < 3; ++round) {
        StartAndAwait(thread, running);
        EXPECT_FALSE(thread.Terminate());
        thread.Kill();
        EXPECT_TRUE(thread.Terminate());
    }
    EXPECT_EQ(thread.Stop(0), 0);
}

TEST(VEXThreadKill, CancelsALaterRunAndRefusesAnother)
{
    VEXThread thread;
    VEXEvent running(VEXEvent::Reset::Manual);
    VEXEvent startedAgain(VEXEvent::Reset::Manual);
    std::atomic<int> runs{0};
    std::atomic<int> status{0};
    thread.Attach([&] {
        ++runs;
        running.Signal();
        EXPECT_EQ(startedAgain.WaitForSignal(kGenerousMs), 0);
        thread.Kill();
        status = thread.Start();
        pthread_testcancel();
    });
    StartAndAwait(thread, running);
    EXPECT_EQ(thread.Stop(0), -3);
    EXPECT_EQ(thread.Start(), 0);
    startedAgain.Signal();
    AwaitEnd(thread);
    EXPECT_EQ(runs, 1);
    EXPECT_LT(status, 0);
    EXPECT_EQ(thread.Stop(kGenerousMs), 0);
}

TEST(VEXThreadKill, DoesNothingWhenTheThreadIsNotRunning)
{
    VEXThread thread;
    thread.Kill();
    ASSERT_EQ(thread.Start(), 0);
    EXPECT_EQ(thread.Stop(kGenerousMs), 0);
    thread.Kill();
    EXPECT_EQ(thread.Start(), 0);
}

TEST(VEXThreadKill, OnItselfEndsItAtTheNextCancellationPoint)
{
    VEXThread thread;
    std::atomic<bool> returned{false};
    std::atomic<bool> wentOn{false};
    thread.Attach([&] {
        thread.Kill();
        returned = true;
        pthread_testcancel();
        wentOn = true;
    });
    ASSERT_EQ(thread.Start(), 0);
    EXPECT_EQ(thread.Stop(kGenerousMs), 0);
    EXPECT_TRUE(returned);
    EXPECT_FALSE(wentOn);
}

// close() is a cancellation point. A thread that ended there, inside a destructor, would
// end the process.
TEST(VEXThreadKill, DoesNotInterruptDestructorsOfThisLibrary)
{
    std::atomic<bool> left{false};
    VEXThread thread;
    VEXEvent running(VEXEvent::Reset::Manual);
    thread.Attach([&] {
        {
            VEXUDPSocket socket;
            EXPECT_EQ(socket.Open("127.0.0.1", 0), 0);
            VEXFileIO file;
            EXPECT_EQ(file.Open("/proc/self/comm", VEXFileIO::kRead, VEXFileIO::kBuffered), 0);
            VEXThread inner;
            inner.Attach([&inner] {
                while (!inner.Terminate()) {
                    std::this_thread::yield();
                }
            });
            EXPECT_EQ(inner.Start(), 0);
            running.Signal();
            while (!thread.Terminate()) {
                std::this_thread::yield();
            }
        }
        left = true;
    });
    StartAndAwait(thread, running);
    thread.Kill();
    EXPECT_FALSE(thread.Active());
    EXPECT_TRUE(left);
}

TEST(VEXThreadKill, LeavesTheSocketOfTheThreadUsable)
{
#ifdef UNDER_THREAD_SANITIZER
    GTEST_SKIP();
#endif
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("127.0.0.1", 0), 0);
    VEXThread thread;
    VEXEvent running(VEXEvent::Reset::Manual);
    thread.Attach([&] {
        char byte = 0;
        sockaddr_in sender{};
        running.Signal();
        static_cast<void>(socket.Read(&byte, 1, sender));
    });
    StartAndAwait(thread, running);
    thread.Kill();
    socket.Close(); // would block if the killed reader still counted as a user
    EXPECT_EQ(socket.Open("127.0.0.1", 0), 0);
}
