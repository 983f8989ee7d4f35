#include "vexbase/vex_event.h"

#include <atomic>
#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned int kGenerousMs = 60000;

std::future<int> WaitElsewhere(VEXEvent &event, unsigned int timeoutMs)
{
    std::promise<void> running;
    auto status = std::async(std::launch::async, [&event, &running, timeoutMs] {
        running.set_value();
        return event.WaitForSignal(timeoutMs);
    });
    running.get_future().wait();
    return status;
}

} // namespace

TEST(VEXEvent, IsNotSignalledAtFirst)
{
    VEXEvent manual(VEXEvent::Reset::Manual);
    VEXEvent automatic(VEXEvent::Reset::Automatic);
    EXPECT_EQ(manual.WaitForSignal(0), -3);
    EXPECT_EQ(automatic.WaitForSignal(0), -3);
}

TEST(VEXEvent, ReturnsMinus3WhenTheTimeIsOver)
{
    VEXEvent event(VEXEvent::Reset::Manual);
    const auto start = Clock::now();
    EXPECT_EQ(event.WaitForSignal(20), -3);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(20));
}

TEST(VEXEvent, ManualStaysSignalledUntilCleared)
{
    VEXEvent event(VEXEvent::Reset::Manual);
    event.Signal();
    EXPECT_EQ(event.WaitForSignal(0), 0);
    EXPECT_EQ(event.WaitForSignal(vexbase::kInfinite), 0);
    event.Clear();
    EXPECT_EQ(event.WaitForSignal(0), -3);
}

TEST(VEXEvent, ManualWakesAllWaitingThreads)
{
    VEXEvent event(VEXEvent::Reset::Manual);
    std::vector<std::future<int>> waiters;
    for (const unsigned int timeoutMs : {kGenerousMs, vexbase::kInfinite, vexbase::kInfinite - 1}) {
        waiters.push_back(WaitElsewhere(event, timeoutMs));
    }
    event.Signal();
    for (auto &waiter : waiters) {
        EXPECT_EQ(waiter.get(), 0);
    }
}

TEST(VEXEvent, AutomaticIsClearedByTheThreadThatWaited)
{
    VEXEvent event(VEXEvent::Reset::Automatic);
    event.Signal();
    event.Signal(); // the event is signalled already
    EXPECT_EQ(event.WaitForSignal(vexbase::kInfinite), 0);
    EXPECT_EQ(event.WaitForSignal(0), -3);
}

TEST(VEXEvent, AutomaticWakesOneThreadForEachSignal)
{
    VEXEvent event(VEXEvent::Reset::Automatic);
    VEXEvent woken(VEXEvent::Reset::Automatic);
    std::atomic<int> count{0};
    const auto wait = [&] {
        const int status = event.WaitForSignal(kGenerousMs);
        ++count;
        woken.Signal();
        return status;
    };
    auto first = std::async(std::launch::async, wait);
    auto second = std::async(std::launch::async, wait);
    event.Signal();
    ASSERT_EQ(woken.WaitForSignal(kGenerousMs), 0);
    EXPECT_EQ(event.WaitForSignal(0), -3);
    EXPECT_EQ(count, 1);
    event.Signal();
    EXPECT_EQ(first.get(), 0);
    EXPECT_EQ(second.get(), 0);
    EXPECT_EQ(count, 2);
}

TEST(VEXEvent, CanBeClearedWithoutAWait)
{
    VEXEvent event(VEXEvent::Reset::Automatic);
    event.Signal();
    event.Clear();
    EXPECT_EQ(event.WaitForSignal(0), -3);
}
