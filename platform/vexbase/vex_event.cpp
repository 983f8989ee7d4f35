#include "vexbase/vex_event.h"

#include "vexbase/vex_time.h"

int VEXEvent::WaitForSignal(unsigned int timeoutMs)
{
    const auto end = VEXTime::EndOf(timeoutMs);
    const VEXLockGuard hold(mLock);
    while (!mSignalled && mChanged.WaitUntil(mLock, end)) {
    }
    if (!mSignalled) {
        return kVEXTimedOut;
    }
    if (mReset == Reset::Automatic) {
        mSignalled = false;
    }
    return kVEXSuccess;
}

void VEXEvent::Signal()
{
    const VEXLockGuard hold(mLock);
    mSignalled = true;
    mChanged.NotifyAll();
}

void VEXEvent::Clear()
{
    const VEXLockGuard hold(mLock);
    mSignalled = false;
}
