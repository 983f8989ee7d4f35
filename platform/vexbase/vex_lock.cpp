#include "vexbase/vex_lock.h"

#include <chrono>

int VEXLock::Lock(unsigned int timeoutMs)
{
    if (timeoutMs == kVEXInfinite) {
        mMutex.lock();
        return kVEXSuccess;
    }
    return mMutex.try_lock_for(std::chrono::milliseconds(timeoutMs)) ? kVEXSuccess : kVEXTimedOut;
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
