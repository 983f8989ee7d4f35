#include "vexbase/vex_condition.h"

#include <mutex>

namespace {

// Lends a locked mutex to a wait. The caller's guard still owns it afterwards, also
// when VEXThread::Kill ends the thread in the wait.
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

void VEXCondition::Wait(VEXLock &lock)
{
    Lent lent(lock.mMutex);
    mChanged.wait(lent.Get());
}

bool VEXCondition::WaitUntil(VEXLock &lock, std::chrono::steady_clock::time_point end)
{
    if (end == std::chrono::steady_clock::time_point::max()) {
        Wait(lock);
        return true;
    }
    Lent lent(lock.mMutex);
    return mChanged.wait_until(lent.Get(), end) == std::cv_status::no_timeout;
}
