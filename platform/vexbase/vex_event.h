#pragma once

#include "vexbase/vex_lock.h"
#include "vexbase/vex_status.h"

#include <chrono>
#include <condition_variable>

namespace vexbase {

// Condition lets threads wait for a change of something that a VEXLock guards. Any
// thread may call any operation. A wait may end without a reason, so callers check in
// a loop:
//
//     while (!mSignalled && mChanged.WaitUntil(mLock, end)) {
//     }
class Condition
{
public:
    Condition() = default;
    Condition(const Condition &) = delete;
    Condition &operator=(const Condition &) = delete;

    // Releases the lock, waits for a notification, and takes the lock again.
    void Wait(VEXLock &lock) VEX_REQUIRES(lock);

    // The same, but waits no longer than until end (see VEXTime::EndOf). Returns false
    // when that time is over.
    [[nodiscard]] bool WaitUntil(VEXLock &lock, std::chrono::steady_clock::time_point end)
        VEX_REQUIRES(lock);

    // Wakes all waiting threads.
    void NotifyAll() { mChanged.notify_all(); }

private:
    std::condition_variable mChanged;
};

} // namespace vexbase

// VEXEvent is a flag that threads can wait for. A manual-reset event stays signalled
// until Clear is called. An automatic event is cleared when it ends the wait of one
// thread. Any thread may call any operation.
class VEXEvent
{
public:
    enum class Reset { Manual, Automatic };

    explicit VEXEvent(Reset reset) : mReset(reset) {}
    VEXEvent(const VEXEvent &) = delete;
    VEXEvent &operator=(const VEXEvent &) = delete;

    // Waits until the event is signalled, at most timeoutMs milliseconds (vexbase::kInfinite:
    // without limit; 0: not at all). Returns 0 when it is signalled, -3 when the time
    // is over.
    [[nodiscard]] int WaitForSignal(unsigned int timeoutMs);

    // Signals the event and wakes the waiting threads. The wait of only one of them ends if
    // the event is automatic. Does nothing if the event is signalled already.
    void Signal();

    // Clears the event.
    void Clear();

private:
    const Reset mReset;
    VEXLock mLock;
    vexbase::Condition mChanged;
    bool mSignalled VEX_GUARDED_BY(mLock) = false;
};
