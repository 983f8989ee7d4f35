#pragma once

#include "vexbase/vex_status.h"
#include "vexbase/vex_thread_annotations.h"

#include <mutex>

// VEXLock is the system's mutex: not recursive, owned by the thread that took
// it. Any thread may use it; prefer VEXLockGuard, which cannot forget to unlock.
class VEX_CAPABILITY("mutex") VEXLock
{
public:
    VEXLock() = default;
    VEXLock(const VEXLock &) = delete;
    VEXLock &operator=(const VEXLock &) = delete;

    // Takes the lock, waiting at most timeoutMs milliseconds (kVEXInfinite: for
    // ever). Returns 0 when it was taken, -3 when the time ran out.
    [[nodiscard]] int Lock(unsigned int timeoutMs = kVEXInfinite) VEX_TRY_ACQUIRE(0);

    // Gives the lock back. REQUIRES: the calling thread holds it.
    void Unlock() VEX_RELEASE();

private:
    friend class VEXCondition;

    // Not a std::timed_mutex: thread sanitizers of today do not see it locked
    // on the monotonic clock, and the wall clock may be set while somebody waits.
    std::mutex mMutex;
};

// VEXLockGuard holds a lock for the length of a scope, waiting for it for ever.
class VEX_SCOPED_CAPABILITY VEXLockGuard
{
public:
    explicit VEXLockGuard(VEXLock &lock) VEX_ACQUIRE(lock);
    ~VEXLockGuard() VEX_RELEASE();
    VEXLockGuard(const VEXLockGuard &) = delete;
    VEXLockGuard &operator=(const VEXLockGuard &) = delete;

private:
    VEXLock &mLock;
};
