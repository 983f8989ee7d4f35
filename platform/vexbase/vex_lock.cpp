#include "vexbase/vex_lock.h"

#include "vexbase/vex_wait.h"

int VEXLock::Lock(unsigned int timeoutMs)
{
    std::unique_lock<std::mutex> held(mMutex);
    if (!VEXWait(mFreed, held, timeoutMs, [this] { return !mTaken; })) {
        return kVEXTimedOut;
    }
    mTaken = true;
    return kVEXSuccess;
}

void VEXLock::Unlock()
{
    const std::lock_guard<std::mutex> held(mMutex);
    mTaken = false;
    mFreed.notify_one();
}

VEXLockGuard::VEXLockGuard(VEXLock &lock) : mLock(lock)
{
    static_cast<void>(mLock.Lock()); // without a time-out it cannot fail
}

VEXLockGuard::~VEXLockGuard()
{
    mLock.Unlock();
}
