#pragma once

#include "vexbase/vex_file_descriptor.h"
#include "vexbase/vex_lock.h"
#include "vexbase/vex_thread.h"

#include <QSocketNotifier>
#include <functional>

namespace beacond {

// Leaving ends the process cleanly at SIGTERM or SIGINT. The function to call before the end
// is named the duty. The signal handler only wakes a thread and the event loop. The thread
// calls the duty; the event loop waits until the duty has returned, and ends. The event loop
// does not call the duty itself, because the main thread may be blocked for many seconds: by a
// configuration service or an avahi-daemon that does not answer, or by a system that does not
// report its addresses.
//
// The process ends at the latest 1.5 s after the signal, with status 0. A second signal has
// its default action and ends the process at once; a signal that arrives before the thread is
// awake counts as the first. If the main thread calls std::exit after the signal, because
// avahi-daemon has ended too, the process still waits for the duty and ends with status 0.
//
// REQUIRES: the duty and the other threads use no static object that was created after this
// object. An exit destroys such objects first.
//
// There is one instance in the process, created and destroyed on the main thread.
class Leaving
{
public:
    using Duty = std::function<void()>;
    using LastAct = void (*)();

    // Handles the signals from now on. If the system cannot create the thread, they keep
    // their default action. lastAct is called if the process has not ended 1.5 s after a
    // signal. It runs in a signal handler and may use only the functions that
    // signal-safety(7) lists.
    // REQUIRES: a QCoreApplication.
    explicit Leaving(LastAct lastAct);

    // Wakes the thread as a signal would, if there was none, and waits for its end.
    ~Leaving();

    Leaving(const Leaving &) = delete;
    Leaving &operator=(const Leaving &) = delete;

    // Sets the duty, which is called at a signal on this object's thread. If a signal has
    // arrived already, calls the duty at once, on the caller's thread.
    void SetDuty(Duty duty);

private:
    static void FinishAtExit();
    void Run();
    void AwaitDuty();
    [[nodiscard]] Duty TakeDuty();

    static Leaving *mInstance;

    const vexbase::FileDescriptor mEvent; // an eventfd; writing makes the event loop wait and end
    QSocketNotifier mNotifier;

    VEXLock mLock;
    bool mSignalled VEX_GUARDED_BY(mLock) = false; // a signal has arrived
    Duty mDuty VEX_GUARDED_BY(mLock);

    VEXThread mThread; // the last member: its destructor waits for Run, which uses the others
};

} // namespace beacond
