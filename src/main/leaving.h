#pragma once

#include "vexbase/vex_lock.h"
#include "vexbase/vex_thread.h"

#include <functional>

namespace beacond {

// Leaving ends the process in good order when SIGTERM or SIGINT asks for it. The
// signals' handler does nothing but wake a thread, which does the duty. The event loop
// does not do it, because the main thread may be blocked for many seconds: by a
// configuration service or an avahi-daemon that does not answer, or by a system that
// does not report its addresses. The event loop waits for the duty and then ends.
//
// The process ends 1.5 s after the signal in any case, with status 0. A second signal
// has its default action and ends the process at once; one that arrives before the
// thread is awake counts as the first.
//
// One for the process, made and destroyed on the main thread.
class Leaving
{
public:
    using Duty = std::function<void()>;
    using LastAct = void (*)();

    // Handles the signals from now on. Without a thread, which the system may refuse,
    // they keep their default action. lastAct is called when the process has not
    // ended by itself after 1.5 s. It runs in a signal handler and may use only what
    // signal-safety(7) lists.
    // REQUIRES: a QCoreApplication.
    explicit Leaving(LastAct lastAct);

    // Waits for the thread; if there has been no signal, it acts as upon one.
    ~Leaving();

    Leaving(const Leaving &) = delete;
    Leaving &operator=(const Leaving &) = delete;

    // Sets what to do upon a signal; called on this object's thread. When a signal has
    // come before, it is called here and now.
    void SetDuty(Duty duty);

private:
    void Run();
    [[nodiscard]] Duty TakeDuty();

    VEXThread mThread;
    VEXLock mLock;
    bool mAsked VEX_GUARDED_BY(mLock) = false; // a signal has come
    Duty mDuty VEX_GUARDED_BY(mLock);
};

} // namespace beacond
