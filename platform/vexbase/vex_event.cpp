#include "vexbase/vex_event.h"

#include "vexbase/vex_time.h"

#include <mutex>

using vexbase::LockGuard;

namespace vexbase {
namespace {

// Gives a locked mutex to a wait and takes it back at the end of the scope, also when
// VEXThread::Kill ends the thread during the wait. The caller's guard still owns it.
class Lent
{
public:
    explicit Lent(std::mutex &mutex) : mLock(mutex, std::adopt_lock) {}
    ~Lent() { static_cast<void>(mLock.release()); }
    Lent(const Lent &) = delete;
    Lent &operator=(const Lent &) = delete;

    [[nodiscard]] std::unique_lock<std::mutex> &Get() { return mLock; }

private:
    std::unique_lock<std::mutex> mLock;
};

} // namespace

void Condition::Wait(VEXLock &lock)
{
    Lent lent(lock.mMutex);
    mChanged.wait(lent.Get());
}

bool Condition::WaitUntil(VEXLock &lock, std::chrono::steady_clock::time_point end)
{
    if (end == std::chrono::steady_clock::time_point::max()) {
        Wait(lock);
        return true;
    }
    Lent lent(lock.mMutex);
    return mChanged.wait_until(lent.Get(), end) == std::cv_status::no_timeout;
}

} // namespace vexbase

int VEXEvent::WaitForSignal(unsigned int timeoutMs)
{
    const auto end = VEXTime::EndOf(timeoutMs);
    const LockGuard hold(mLock);
    while (!mSignalled && mChanged.WaitUntil(mLock, end)) {
    }
    if (!mSignalled) {
        return vexbase::kTimedOut;
    }
    if (mReset == Reset::Automatic) {
        mSignalled = false;
    }
    return vexbase::kSuccess;
}

void VEXEvent::Signal()
{
    const LockGuard hold(mLock);
    mSignalled = true;
    mChanged.NotifyAll();
}

void VEXEvent::Clear()
{
    const LockGuard hold(mLock);
    mSignalled = false;
}
