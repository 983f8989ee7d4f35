#include "vexbase/vex_lock.h"

#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned int kGenerousMs = 60000;

// What Lock gives on another thread, which lets go again of what it took.
int LockElsewhere(VEXLock &lock, unsigned int timeoutMs)
{
    return std::async(std::launch::async,
                      [&] {
                          const int status = lock.Lock(timeoutMs);
                          if (status == 0) {
                              lock.Unlock();
                          }
                          return status;
                      })
        .get();
}

struct Counter
{
    VEXLock lock;
    long value VEX_GUARDED_BY(lock) = 0;

    void Add()
    {
        const VEXLockGuard guard(lock);
        ++value;
    }
    long Value()
    {
        const VEXLockGuard guard(lock);
        return value;
    }
};

} // namespace

TEST(VEXLock, IsTakenAtOnceWhenItIsFree)
{
    VEXLock lock;
    ASSERT_EQ(lock.Lock(), 0);
    lock.Unlock();
    ASSERT_EQ(lock.Lock(kVEXInfinite), 0);
    lock.Unlock();
    ASSERT_EQ(lock.Lock(0), 0);
    lock.Unlock();
}

TEST(VEXLock, GivesMinusThreeWhenTheTimeRunsOut)
{
    VEXLock lock;
    const VEXLockGuard guard(lock);
    EXPECT_EQ(LockElsewhere(lock, 0), -3);
    const auto start = Clock::now();
    EXPECT_EQ(LockElsewhere(lock, 20), -3);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(20));
}

TEST(VEXLock, IsHandedToAWaiterWhenTheOwnerLetsGo)
{
    for (const unsigned int timeoutMs : {kGenerousMs, kVEXInfinite}) {
        VEXLock lock;
        ASSERT_EQ(lock.Lock(), 0);
        std::promise<void> running;
        auto taken = std::async(std::launch::async, [&] {
            running.set_value();
            const int status = lock.Lock(timeoutMs);
            if (status == 0) {
                lock.Unlock();
            }
            return status;
        });
        running.get_future().wait();
        lock.Unlock();
        EXPECT_EQ(taken.get(), 0);
    }
}

TEST(VEXLockGuard, HoldsTheLockForItsScope)
{
    VEXLock lock;
    {
        const VEXLockGuard guard(lock);
        EXPECT_EQ(LockElsewhere(lock, 0), -3);
    }
    EXPECT_EQ(LockElsewhere(lock, 0), 0);
}

TEST(VEXLock, LetsOneThreadInAtATime)
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
