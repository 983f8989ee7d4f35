#pragma once

#include "vexbase/vex_thread.h"

#include <functional>
#include <mutex>

// Leaving ends the process in good order when SIGTERM or SIGINT asks for it. The
// signals' handler does nothing but wake a thread, which does the duty and then
// lets the event loop end. The duty is not left to the event loop, because the main
// thread may be held up for longer than anybody waits: by a configuration service
// or an avahi-daemon that does not answer, or by an interface without an address.
//
// The process ends 1.5 s after the signal in any case, with status 0. A second
// signal ends it at once, as signals do that nobody handles.
//
// One for the process, made and destroyed on the main thread.
class Leaving
{
public:
    using Duty = std::function<void()>;
    using LastAct = void (*)();

    // Handles the signals from now on. When there is no thread to be had, they keep
    // ending the process at once. lastAct is called when time runs out before the
    // process has ended by itself; as it is called in a signal handler, it may use
    // only what signal-safety(7) lists.
    // REQUIRES: a QCoreApplication.
    explicit Leaving(LastAct lastAct);

    // Waits for the thread; if there has been no signal, it acts as upon one.
    ~Leaving();

    Leaving(const Leaving &) = delete;
    Leaving &operator=(const Leaving &) = delete;

    // Sets what to do upon a signal; called on this object's thread. It is not
    // called for a signal that has come before.
    void SetDuty(Duty duty);

private:
    void Run();
    [[nodiscard]] Duty TakeDuty();

    VEXThread mThread;
    std::mutex mMutex;
    Duty mDuty; // guarded by mMutex
};
