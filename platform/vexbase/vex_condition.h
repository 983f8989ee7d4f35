#pragma once

#include "vexbase/vex_lock.h"
#include "vexbase/vex_thread_annotations.h"

#include <chrono>
#include <condition_variable>

// VEXCondition lets threads wait until something changes that a VEXLock guards.
// Any thread may call any operation. A wait can end without a reason, so that a
// waiter always looks at what it waits for:
//
//     while (!mSignalled && mChanged.WaitUntil(mLock, end)) {
//     }
class VEXCondition
{
public:
    VEXCondition() = default;
    VEXCondition(const VEXCondition &) = delete;
    VEXCondition &operator=(const VEXCondition &) = delete;

    // Releases the lock, waits for a notification, and takes the lock again.
    void Wait(VEXLock &lock) VEX_REQUIRES(lock);

    // The same, at most until a time (see VEXTime::EndOf). Returns false when the
    // time is over.
    [[nodiscard]] bool WaitUntil(VEXLock &lock, std::chrono::steady_clock::time_point end)
        VEX_REQUIRES(lock);

    // Wakes all waiting threads.
    void NotifyAll() { mChanged.notify_all(); }

private:
    std::condition_variable mChanged;
};
