#include "held_body.h"

#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <thread>

// Starting a thread whose previous run was asked to stop and has not ended.

using test::AwaitEnd;
using test::HeldBody;
using test::kGenerousMs;
using test::StartHeld;

// The engine does this, for instance, if it is opened after a Close that timed out.
TEST(VEXThreadRestart, StartDuringAStoppedRunRunsAgainWhenThatRunEnds)
{
    HeldBody body;
    VEXThread thread;
    StartHeld(thread, body);
    EXPECT_EQ(thread.Stop(0), -3);
    EXPECT_EQ(thread.Start(), 0);
    EXPECT_EQ(thread.Start(), 0);    // changes nothing
    EXPECT_TRUE(thread.Terminate()); // the previous run has not ended
    EXPECT_EQ(body.runs, 1);
    body.released.Signal();
    ASSERT_EQ(body.running.WaitForSignal(kGenerousMs), 0);
    EXPECT_FALSE(thread.Terminate());
    EXPECT_EQ(thread.Stop(kGenerousMs), 0);
    EXPECT_EQ(body.runs, 2);
    EXPECT_FALSE(thread.Active());
}

TEST(VEXThreadRestart, StopCancelsTheLaterRun)
{
    HeldBody body;
    VEXThread thread;
    StartHeld(thread, body);
    EXPECT_EQ(thread.Stop(0), -3);
    EXPECT_EQ(thread.Start(), 0);
    EXPECT_EQ(thread.Stop(0), -3);
    body.released.Signal();
    EXPECT_EQ(thread.Stop(kGenerousMs), 0);
    EXPECT_EQ(body.runs, 1);
    StartHeld(thread, body);
    EXPECT_EQ(thread.Stop(kGenerousMs), 0);
    EXPECT_EQ(body.runs, 2);
}

TEST(VEXThreadRestart, StopWaitsOnlyForTheRunThatItStopped)
{
    HeldBody first;
    HeldBody second;
    std::atomic<int> runs{0};
    VEXThread thread;
    thread.Attach([&] {
        if (++runs == 1) {
            first();
        } else {
            second();
        }
    });
    ASSERT_EQ(thread.Start(), 0);
    ASSERT_EQ(first.running.WaitForSignal(kGenerousMs), 0);
    auto stopped = std::async(std::launch::async, [&] { return thread.Stop(vexbase::kInfinite); });
    while (!thread.Terminate()) {
        std::this_thread::yield();
    }
    EXPECT_EQ(thread.Start(), 0);
    first.released.Signal();
    ASSERT_EQ(second.running.WaitForSignal(kGenerousMs), 0);
    EXPECT_EQ(stopped.get(), 0); // while the second run continues
    EXPECT_TRUE(thread.Active());
    second.released.Signal();
    EXPECT_EQ(thread.Stop(kGenerousMs), 0);
}

TEST(VEXThreadRestart, AThreadCanStartItselfAgainAfterAStop)
{
    VEXThread thread;
    std::atomic<int> runs{0};
    thread.Attach([&] {
        if (++runs == 1) {
            EXPECT_LT(thread.Stop(0), 0);
            EXPECT_EQ(thread.Start(), 0);
        }
    });
    ASSERT_EQ(thread.Start(), 0);
    AwaitEnd(thread);
    EXPECT_EQ(runs, 2);
}

// Two threads start and stop it at any moment of a run.
TEST(VEXThreadRestart, TheLastStartOrStopCounts)
{
    VEXThread thread;
    std::atomic<int> running{0};
    thread.Attach([&] {
        EXPECT_EQ(++running, 1); // never two runs at the same time
        while (!thread.Terminate()) {
            std::this_thread::yield();
        }
        --running;
    });
    for (int round = 0; round < 300; ++round) {
        auto other = std::async(std::launch::async, [&] {
            EXPECT_EQ(thread.Start(), 0);
            static_cast<void>(thread.Stop(0));
        });
        EXPECT_EQ(thread.Start(), 0);
        static_cast<void>(thread.Stop(0));
        other.get();
        EXPECT_EQ(thread.Start(), 0);
        while (running == 0 || thread.Terminate()) {
            std::this_thread::yield();
        }
        EXPECT_EQ(thread.Stop(kGenerousMs), 0);
        EXPECT_EQ(running, 0);
    }
}
