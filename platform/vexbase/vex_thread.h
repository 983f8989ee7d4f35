#pragma once

#include "vexbase/vex_event.h"
#include "vexbase/vex_lock.h"
#include "vexbase/vex_status.h"

#include <functional>
#include <optional>
#include <pthread.h>
#include <string>

// VEXThread is a thread that can be started, asked to stop, and started again. Its body
// is a function bound by Attach, or the hooks ThreadInit, ThreadLoop and ThreadFlush of a
// derived class. Its stack has 128 KiB.
//
// Any thread may call any operation, except Attach, which is called before Start. The
// destructor stops the thread and waits for its end. The owner of a derived class stops the
// thread before, because the members of that class no longer exist then. No owner destroys the
// object on the thread itself.
//
// An exception that the body does not catch ends the process with status 1, after one
// line on standard error. The supervisor then starts the process again: without one of
// its threads it would seem to work. Destructors of static objects do not run, because
// other threads may still use these objects.
class VEXThread
{
public:
    using Body = std::function<void()>;

    VEXThread() = default;
    VEXThread(const VEXThread &) = delete;
    VEXThread &operator=(const VEXThread &) = delete;
    virtual ~VEXThread();

    // Runs ThreadRun on a new thread and returns 0. Does nothing, and returns 0, when the
    // thread is running already. If the previous run was asked to stop and has not ended,
    // ThreadRun runs again on the same system thread when that run ends; until then Terminate
    // stays true. Returns a negative status when the system cannot create a thread, and
    // when the previous run was killed and has not ended.
    [[nodiscard]] virtual int Start();

    // Asks the thread to stop (Terminate becomes true) and waits at most timeoutMs
    // milliseconds (vexbase::kInfinite: without limit) for the end of the run. Cancels a run that
    // a call of Start has postponed. Returns 0 when the run has ended or was never started,
    // -3 when the time is over, and another negative status, without waiting, when the
    // thread calls it on itself.
    virtual int Stop(unsigned int timeoutMs);

    // Ends the thread at its next cancellation point (pthreads(7)), for a body that does
    // not react to Stop. The body's objects are destroyed as by an exception; ThreadFlush
    // is not called. Waits for the end without limit, unless the thread calls it on
    // itself. REQUIRES: the body has no cancellation point in a destructor or in another
    // function that must not throw, and rethrows what it catches by catch (...).
    virtual void Kill();

    // Whether the body is running.
    [[nodiscard]] virtual bool Active() const;

    // Whether the caller is this thread.
    [[nodiscard]] virtual bool IsCurrentThread() const;

    // Sets the thread's nice value, -20 (highest priority) to 19 (lowest), now and for
    // later starts. At a start, a value that the system refuses is not applied. Returns
    // 0, or a negative status when the value is out of range, or when the thread is running
    // and the system refuses.
    [[nodiscard]] virtual int SetPriority(int nice);

    // The nice value of the running thread. If the thread is not running: the value that was
    // set, or that of the calling thread when none was set.
    [[nodiscard]] virtual int GetPriority() const;

    // Schedules the running thread in real time (SCHED_RR) with a priority of 1 (lowest)
    // to 99, until it ends. Returns 0, or a negative status when the thread is not running,
    // the value is out of range, or the system refuses.
    [[nodiscard]] virtual int SetRealTime(int priority);

    // One run: ThreadInit once, whatever it returns; ThreadLoop once, and again until it
    // returns false or a stop is requested; then ThreadFlush. ThreadLoop is called at
    // least once, even if a stop was requested before, because a loop may have a last line
    // to write. If a body is attached, only the body is called.
    virtual void ThreadRun();
    virtual bool ThreadInit();
    virtual bool ThreadLoop();
    virtual void ThreadFlush();

    // Whether a stop has been requested.
    [[nodiscard]] virtual bool Terminate() const;

    // Sets the thread's body. REQUIRES: the thread is not running.
    virtual void Attach(Body body);

    // Sets the thread's name for ps and debuggers, now and for later starts. Only the
    // first 15 bytes are used.
    virtual void SetThreadName(const std::string &name);

private:
    enum class State { Idle, Running, Ended }; // Ended: the body is over, not joined yet

    static void *Main(void *self);
    // Called on the thread itself:
    void ApplySettings();
    void RunGuarded();
    [[nodiscard]] bool EndOrRunAgain();

    [[nodiscard]] int StartAfterThisRun() VEX_REQUIRES(mLock);
    void RequestStop() VEX_REQUIRES(mLock);
    void MarkEnded() VEX_REQUIRES(mLock);
    [[nodiscard]] bool IsCurrent() const VEX_REQUIRES(mLock);
    [[nodiscard]] bool AwaitEnd(unsigned int timeoutMs) VEX_REQUIRES(mLock);
    void JoinEnded() VEX_REQUIRES(mLock);

    mutable VEXLock mLock;
    vexbase::Condition mRunOver;
    State mState VEX_GUARDED_BY(mLock) = State::Idle;
    unsigned int mRun VEX_GUARDED_BY(mLock) = 0; // the number of runs so far
    bool mTerminate VEX_GUARDED_BY(mLock) = false;
    bool mRunAgain VEX_GUARDED_BY(mLock) = false; // when the run that was stopped ends
    bool mKilled VEX_GUARDED_BY(mLock) = false;
    pthread_t mThread VEX_GUARDED_BY(mLock){};
    int mThreadId VEX_GUARDED_BY(mLock) = 0; // the kernel's number, 0 while there is no thread
    std::optional<int> mNice VEX_GUARDED_BY(mLock);
    std::string mName VEX_GUARDED_BY(mLock);

    // Not guarded: does not change while the thread runs.
    Body mBody;
};

namespace vexbase {

// NoCancellation keeps VEXThread::Kill from ending the calling thread before the end of
// the scope. Destructors and changes that must be complete need it: close() and every
// wait are cancellation points, and a thread that ends inside a destructor ends the
// process.
class NoCancellation
{
public:
    NoCancellation() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &mFormer); }
    ~NoCancellation() { pthread_setcancelstate(mFormer, nullptr); }
    NoCancellation(const NoCancellation &) = delete;
    NoCancellation &operator=(const NoCancellation &) = delete;

private:
    int mFormer = PTHREAD_CANCEL_ENABLE;
};

} // namespace vexbase
