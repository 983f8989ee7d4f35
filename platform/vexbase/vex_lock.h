#pragma once

#include "vexbase/vex_status.h"

#include <mutex>

// Clang's thread-safety attributes. They say which lock guards a member, and which
// locks an operation needs, takes or must not hold. clang checks them with
// -Wthread-safety; other compilers ignore them.
#if defined(__clang__)
#define VEX_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define VEX_THREAD_ATTRIBUTE(x)
#endif

#define VEX_CAPABILITY(x) VEX_THREAD_ATTRIBUTE(capability(x))
#define VEX_SCOPED_CAPABILITY VEX_THREAD_ATTRIBUTE(scoped_lockable)
#define VEX_GUARDED_BY(x) VEX_THREAD_ATTRIBUTE(guarded_by(x))
#define VEX_PT_GUARDED_BY(x) VEX_THREAD_ATTRIBUTE(pt_guarded_by(x))
#define VEX_REQUIRES(...) VEX_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define VEX_EXCLUDES(...) VEX_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define VEX_ACQUIRE(...) VEX_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define VEX_TRY_ACQUIRE(...) VEX_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define VEX_RELEASE(...) VEX_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define VEX_NO_THREAD_SAFETY_ANALYSIS VEX_THREAD_ATTRIBUTE(no_thread_safety_analysis)

namespace vexbase {
class Condition;
}

// VEXLock is a mutex. It is not recursive. Any thread may use it, but only the thread
// that took it may release it. Prefer vexbase::LockGuard, which always releases it.
class VEX_CAPABILITY("mutex") VEXLock
{
public:
    VEXLock() = default;
    VEXLock(const VEXLock &) = delete;
    VEXLock &operator=(const VEXLock &) = delete;

    // Takes the lock and waits for it at most timeoutMs milliseconds (vexbase::kInfinite:
    // without limit). Returns 0 with the lock taken, or -3 when the time is over.
    // REQUIRES: the calling thread does not hold it.
    [[nodiscard]] int Lock(unsigned int timeoutMs = vexbase::kInfinite) VEX_TRY_ACQUIRE(0);

    // Releases the lock. REQUIRES: the calling thread holds it.
    void Unlock() VEX_RELEASE();

private:
    friend class vexbase::Condition;

    // Not a std::timed_mutex: that would wait on the monotonic clock by
    // pthread_mutex_clocklock(), which thread sanitizers do not know yet, or on the
    // wall clock, which may be set during the wait.
    std::mutex mMutex;
};

namespace vexbase {

// LockGuard takes a lock, without a time-out, and releases it at the end of the scope.
class VEX_SCOPED_CAPABILITY LockGuard
{
public:
    explicit LockGuard(VEXLock &lock) VEX_ACQUIRE(lock);
    ~LockGuard() VEX_RELEASE();
    LockGuard(const LockGuard &) = delete;
    LockGuard &operator=(const LockGuard &) = delete;

private:
    VEXLock &mLock;
};

} // namespace vexbase
