#include "vexbase/vex_lock.h"

#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned int kGenerousMs = 60000;

// Takes the lock and releases it. Returns the result of Lock.
int TryLock(VEXLock &lock, unsigned int timeoutMs)
{
    const int status = lock.Lock(timeoutMs);
    if (status == 0) {
        lock.Unlock();
    }
    return status;
}

int TryLockElsewhere(VEXLock &lock, unsigned int timeoutMs)
{
    return std::async(std::launch::async, [&] { return TryLock(lock, timeoutMs); }).get();
}

struct Counter
{
    VEXLock lock;
    long value VEX_GUARDED_BY(lock) = 0;

    void Add()
    {
        const vexbase::LockGuard guard(lock);
        ++value;
    }
    long Value()
    {
        const vexbase::LockGuard guard(lock);
        return value;
    }
};

} // namespace

TEST(VEXLock, IsTakenAtOnceWhenItIsFree)
{
    VEXLock lock;
    EXPECT_EQ(TryLock(lock, vexbase::kInfinite), 0);
    EXPECT_EQ(TryLock(lock, 20), 0);
    EXPECT_EQ(TryLock(lock, 0), 0);
}

TEST(VEXLock, ReturnsMinus3WhenTheTimeIsOver)
{
    VEXLock lock;
    const vexbase::LockGuard guard(lock);
    EXPECT_EQ(TryLockElsewhere(lock, 0), -3);
    const auto start = Clock::now();
    EXPECT_EQ(TryLockElsewhere(lock, 20), -3);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(20));
}

TEST(VEXLock, IsTakenByAWaitingThreadWhenItIsReleased)
{
    for (const unsigned int timeoutMs : {kGenerousMs, vexbase::kInfinite}) {
        VEXLock lock;
        std::promise<void> running;
        std::future<int> taken;
        {
            const vexbase::LockGuard guard(lock);
            taken = std::async(std::launch::async, [&] {
                running.set_value();
                return TryLock(lock, timeoutMs);
            });
            running.get_future().wait();
        }
        EXPECT_EQ(taken.get(), 0);
    }
}

TEST(LockGuard, HoldsTheLockForItsScope)
{
    VEXLock lock;
    {
        const vexbase::LockGuard guard(lock);
        EXPECT_EQ(TryLockElsewhere(lock, 0), -3);
    }
    EXPECT_EQ(TryLockElsewhere(lock, 0), 0);
}

TEST(VEXLock, IsHeldByOneThreadAtATime)
{
    constexpr int kRounds = 20000;
    Counter counter;
    std::thread other([&] {
        for (int i = 0; i < kRounds; ++i) {
            counter.Add();
        }
    });
    for (int i = 0; i < kRounds; ++i) {
        counter.Add();
    }
    other.join();
    EXPECT_EQ(counter.Value(), 2L * kRounds);
}
