#include "vexbase/vex_event.h"

#include "vexbase/vex_wait.h"

int VEXEvent::WaitForSignal(unsigned int timeoutMs)
{
    std::unique_lock<std::mutex> held(mMutex);
    if (!VEXWait(mChanged, held, timeoutMs, [this] { return mSignalled; })) {
        return kVEXTimedOut;
    }
    if (mReset == Reset::Automatic) {
        mSignalled = false;
    }
    return kVEXSuccess;
}

void VEXEvent::Signal()
{
    const std::lock_guard<std::mutex> held(mMutex);
    mSignalled = true;
    mChanged.notify_all();
}

void VEXEvent::Clear()
{
    const std::lock_guard<std::mutex> held(mMutex);
    mSignalled = false;
}
