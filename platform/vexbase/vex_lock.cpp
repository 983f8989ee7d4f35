#include "vexbase/vex_lock.h"

#include "vexbase/vex_time.h"

#include <chrono>
#include <thread>

namespace {

// How often a lock with a time-out is tried. Only who waits for a limited time
// pays for the trying.
constexpr auto kTryPause = std::chrono::milliseconds(1);

} // namespace

// The analysis cannot see that a loop of tries ends with the lock held.
int VEXLock::Lock(unsigned int timeoutMs) VEX_NO_THREAD_SAFETY_ANALYSIS
{
    if (timeoutMs == kVEXInfinite) {
        mMutex.lock();
        return kVEXSuccess;
    }
    const auto end = VEXTime::EndOf(timeoutMs);
    while (!mMutex.try_lock()) {
        if (std::chrono::steady_clock::now() >= end) {
            return kVEXTimedOut;
        }
        std::this_thread::sleep_for(kTryPause);
    }
    return kVEXSuccess;
}

void VEXLock::Unlock()
{
    mMutex.unlock();
}

VEXLockGuard::VEXLockGuard(VEXLock &lock) : mLock(lock)
{
    static_cast<void>(mLock.Lock()); // without a time-out it cannot fail
}

VEXLockGuard::~VEXLockGuard()
{
    mLock.Unlock();
}
