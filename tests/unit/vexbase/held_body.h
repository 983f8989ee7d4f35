#pragma once

#include "vexbase/vex_event.h"
#include "vexbase/vex_thread.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

namespace test {

constexpr unsigned int kGenerousMs = 60000;

// A thread's body that reports when it runs, and then runs until it is released.
struct HeldBody
{
    VEXEvent running{VEXEvent::Reset::Automatic};
    VEXEvent released{VEXEvent::Reset::Manual};
    std::atomic<int> runs{0};

    void operator()()
    {
        ++runs;
        running.Signal();
        EXPECT_EQ(released.WaitForSignal(kGenerousMs), 0);
    }
};

// Starts a thread and waits until its body runs.
inline void StartHeld(VEXThread &thread, HeldBody &body)
{
    thread.Attach([&body] { body(); });
    ASSERT_EQ(thread.Start(), 0);
    ASSERT_EQ(body.running.WaitForSignal(kGenerousMs), 0);
}

// Waits until a thread has ended by itself.
inline void AwaitEnd(const VEXThread &thread)
{
    while (thread.Active()) {
        std::this_thread::yield();
    }
}

} // namespace test
