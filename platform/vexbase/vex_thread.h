#pragma once

#include "vexbase/vex_condition.h"
#include "vexbase/vex_lock.h"
#include "vexbase/vex_status.h"

#include <functional>
#include <optional>
#include <pthread.h>
#include <string>

// VEXThread is a thread that can be started, asked to stop, and started again.
// Its body is either a function bound by Attach or the overridden hooks
// ThreadInit, ThreadLoop and ThreadFlush of a derived class.
//
// Any thread may call any operation but Attach, which belongs before Start.
// The owner stops the thread before it destroys the object, and never destroys
// it on the thread itself; the destructor of this class stops a body that is
// still running and waits for it, but a derived class's members are gone by then.
//
// An exception that the body does not catch ends the process with status 1, after
// one line on standard error, so that its supervisor starts it again: a program
// that goes on without one of its threads would look alive. Other threads still
// run then, so the destructors of static objects do not.
class VEXThread
{
public:
    using Body = std::function<void()>;

    VEXThread() = default;
    VEXThread(const VEXThread &) = delete;
    VEXThread &operator=(const VEXThread &) = delete;
    virtual ~VEXThread();

    // Runs ThreadRun on a new thread. Returns 0, also when the thread is
    // running already, which changes nothing. If the former run was asked to stop
    // and has not ended yet, ThreadRun runs again as soon as it ends, on the same
    // system thread; Terminate stays true for the former run until then. Returns a
    // negative status when the system has no thread to give, or the former run was
    // killed and has not ended yet.
    [[nodiscard]] virtual int Start();

    // Asks the thread to stop (Terminate becomes true) and waits at most
    // timeoutMs milliseconds for the end of the run. A run that Start has promised
    // for the end of the former one does not begin. Returns 0 when the run has
    // ended or was never started, -3 when the time ran out, another negative status
    // when the thread calls it on itself (which is then asked to stop all the same).
    virtual int Stop(unsigned int timeoutMs);

    // Asks the thread to stop as Stop does, ends it at its next cancellation point,
    // without ThreadFlush, and waits for that (but not when it calls this on itself).
    // For a body that no longer answers; what the body held is released as an
    // exception would release it. REQUIRES: the body has no cancellation point
    // (pthreads(7)) in a destructor or another function that may not throw, and
    // passes on what it catches by catch (...).
    virtual void Kill();

    // Whether the body is running.
    [[nodiscard]] virtual bool Active() const;

    // Whether the caller is this thread.
    [[nodiscard]] virtual bool IsCurrentThread() const;

    // The nice value of the thread, -20 (first) to 19 (last). Set before Start
    // it holds from the next start on, as far as the system permits; never set,
    // it is that of the thread that calls Start. Returns 0, or a negative status
    // when the value is out of range or the system refuses.
    [[nodiscard]] virtual int SetPriority(int nice);
    [[nodiscard]] virtual int GetPriority() const;

    // Puts the running thread under the real-time round-robin scheduler with a
    // priority of 1 (low) to 99, for as long as it runs. Returns 0, or a negative status when the
    // thread does not run, the value is out of range, or the system refuses.
    [[nodiscard]] virtual int SetRealTime(int priority);

    // The life of a run: ThreadInit once, whatever it returns; ThreadLoop once, and
    // again until it returns false or a stop was asked for; then ThreadFlush. A
    // stop that was asked for before ThreadLoop does not skip it, so that a loop
    // can say that it ends. With a body attached, the body alone.
    virtual void ThreadRun();
    virtual bool ThreadInit();
    virtual bool ThreadLoop();
    virtual void ThreadFlush();

    // Whether a stop has been asked for.
    [[nodiscard]] virtual bool Terminate() const;

    // Binds the thread's body. REQUIRES: the thread is not running.
    virtual void Attach(Body body);

    // Names the thread for ps and debuggers (15 bytes; what is more is cut).
    // Set before Start it holds from the next start on.
    virtual void SetThreadName(const std::string &name);

private:
    enum class State { Idle, Running, Ended }; // Ended: body over, not joined yet

    static void *Foot(void *self);
    // On the thread:
    void ApplySettings();
    void RunGuarded();
    [[nodiscard]] bool EndOrBeginAgain();

    [[nodiscard]] int StartAgain() VEX_REQUIRES(mLock);
    void RequestStop() VEX_REQUIRES(mLock);
    void MarkEnded() VEX_REQUIRES(mLock);
    [[nodiscard]] bool IsCurrent() const VEX_REQUIRES(mLock);
    [[nodiscard]] bool AwaitEnd(unsigned int timeoutMs) VEX_REQUIRES(mLock);
    void JoinEnded() VEX_REQUIRES(mLock);

    mutable VEXLock mLock;
    VEXCondition mRunOver;
    State mState VEX_GUARDED_BY(mLock) = State::Idle;
    unsigned int mRun VEX_GUARDED_BY(mLock) = 0; // counts the runs
    bool mTerminate VEX_GUARDED_BY(mLock) = false;
    bool mBeginAgain VEX_GUARDED_BY(mLock) = false; // when the run that was stopped ends
    bool mKilled VEX_GUARDED_BY(mLock) = false;
    pthread_t mThread VEX_GUARDED_BY(mLock){};
    int mThreadId VEX_GUARDED_BY(mLock) = 0; // the kernel's, 0 while there is none
    std::optional<int> mNice VEX_GUARDED_BY(mLock);
    std::string mName VEX_GUARDED_BY(mLock);

    // Constant while the thread runs:
    Body mBody;
};
