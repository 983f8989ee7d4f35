#include "vexbase/vex_lock.h"

#include "vexbase/vex_time.h"

#include <chrono>
#include <thread>

namespace {

// The pause between two tries to take a lock with a time-out.
constexpr auto kTryPause = std::chrono::milliseconds(1);

} // namespace

// The analysis cannot see that the loop ends with the lock held.
int VEXLock::Lock(unsigned int timeoutMs) VEX_NO_THREAD_SAFETY_ANALYSIS
{
    if (timeoutMs == vexbase::kInfinite) {
        mMutex.lock();
        return vexbase::kSuccess;
    }
    const auto end = VEXTime::EndOf(timeoutMs);
    while (!mMutex.try_lock()) {
        if (std::chrono::steady_clock::now() >= end) {
            return vexbase::kTimedOut;
        }
        std::this_thread::sleep_for(kTryPause);
    }
    return vexbase::kSuccess;
}

void VEXLock::Unlock()
{
    mMutex.unlock();
}

namespace vexbase {

LockGuard::LockGuard(VEXLock &lock) : mLock(lock)
{
    static_cast<void>(mLock.Lock()); // cannot fail without a time-out
}

LockGuard::~LockGuard()
{
    mLock.Unlock();
}

} // namespace vexbase
