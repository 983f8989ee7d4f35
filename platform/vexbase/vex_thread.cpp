#include "vexbase/vex_thread.h"

#include "vexbase/vex_output.h"
#include "vexbase/vex_time.h"

#include <array>
#include <cstring>
#include <cxxabi.h>
#include <exception>
#include <sched.h>
#include <string_view>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::size_t kMaxNameLength = 15; // the kernel's limit

// Instead of the system's 8 MiB: a device without overcommitment reserves the whole stack of
// each thread. In the tests of whole devices, the threads use at most 16 KiB. 128 KiB is also
// the least that glibc allows on 64-bit Arm.
constexpr std::size_t kStackBytes = std::size_t{128} * 1024;

// Creates a thread with a stack of kStackBytes. Returns whether the system could.
bool Create(pthread_t &thread, void *(*main)(void *), void *argument)
{
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) {
        return false;
    }
    const bool created = pthread_attr_setstacksize(&attributes, kStackBytes) == 0 &&
                         pthread_create(&thread, &attributes, main, argument) == 0;
    pthread_attr_destroy(&attributes);
    return created;
}

// Ends the process after an exception. Only the first line of its text is written.
[[noreturn]] void EndProcess(const char *exception)
{
    std::array<char, kMaxNameLength + 1> name{};
    pthread_getname_np(pthread_self(), name.data(), name.size());
    const std::string_view firstLine(exception, std::strcspn(exception, "\r\n"));
    vexbase::WriteFault(
        {"ThreadRun: An exception ended the thread \"", name.data(), "\": ", firstLine});
    _exit(1);
}

} // namespace

VEXThread::~VEXThread()
{
    const vexbase::NoCancellation whole;
    VEXThread::Stop(vexbase::kInfinite);
}

int VEXThread::Start()
{
    const vexbase::LockGuard hold(mLock);
    if (mState == State::Running) {
        return mTerminate ? StartAfterThisRun() : vexbase::kSuccess;
    }
    JoinEnded();
    if (!Create(mThread, &Main, this)) {
        return vexbase::kFailure;
    }
    mState = State::Running;
    mTerminate = false;
    mKilled = false;
    ++mRun;
    return vexbase::kSuccess;
}

int VEXThread::StartAfterThisRun()
{
    mRunAgain = !mKilled;
    return mKilled ? vexbase::kFailure : vexbase::kSuccess;
}

int VEXThread::Stop(unsigned int timeoutMs)
{
    const vexbase::LockGuard hold(mLock);
    RequestStop();
    if (IsCurrent()) {
        return vexbase::kFailure;
    }
    return AwaitEnd(timeoutMs) ? vexbase::kSuccess : vexbase::kTimedOut;
}

void VEXThread::Kill()
{
    const vexbase::LockGuard hold(mLock);
    RequestStop();
    if (mState == State::Running) {
        mKilled = true;
        pthread_cancel(mThread);
    }
    if (!IsCurrent()) {
        static_cast<void>(AwaitEnd(vexbase::kInfinite));
    }
}

void VEXThread::RequestStop()
{
    mTerminate = true;
    mRunAgain = false;
}

bool VEXThread::Active() const
{
    const vexbase::LockGuard hold(mLock);
    return mState == State::Running;
}

bool VEXThread::IsCurrentThread() const
{
    const vexbase::LockGuard hold(mLock);
    return IsCurrent();
}

int VEXThread::SetPriority(int nice)
{
    if (nice < -20 || nice > 19) {
        return vexbase::kFailure;
    }
    const vexbase::LockGuard hold(mLock);
    if (mThreadId != 0 && setpriority(PRIO_PROCESS, static_cast<id_t>(mThreadId), nice) != 0) {
        return vexbase::kFailure;
    }
    mNice = nice;
    return vexbase::kSuccess;
}

int VEXThread::GetPriority() const
{
    const vexbase::LockGuard hold(mLock);
    if (mThreadId == 0 && mNice) {
        return *mNice;
    }
    // 0 is the calling thread; a new thread inherits the value of the thread that starts it.
    return getpriority(PRIO_PROCESS, static_cast<id_t>(mThreadId));
}

int VEXThread::SetRealTime(int priority)
{
    sched_param parameter{};
    parameter.sched_priority = priority;
    const vexbase::LockGuard hold(mLock);
    if (mState != State::Running || pthread_setschedparam(mThread, SCHED_RR, &parameter) != 0) {
        return vexbase::kFailure;
    }
    return vexbase::kSuccess;
}

void VEXThread::ThreadRun()
{
    if (mBody) {
        mBody();
        return;
    }
    ThreadInit();
    while (ThreadLoop() && !Terminate()) {
    }
    pthread_testcancel(); // a killed thread ends here, without ThreadFlush
    ThreadFlush();
}

bool VEXThread::ThreadInit()
{
    return true;
}

bool VEXThread::ThreadLoop()
{
    return false;
}

void VEXThread::ThreadFlush() {}

bool VEXThread::Terminate() const
{
    const vexbase::LockGuard hold(mLock);
    return mTerminate;
}

void VEXThread::Attach(Body body)
{
    const vexbase::LockGuard hold(mLock);
    mBody = std::move(body);
}

void VEXThread::SetThreadName(const std::string &name)
{
    const vexbase::LockGuard hold(mLock);
    mName = name.substr(0, kMaxNameLength);
    if (mState == State::Running) {
        pthread_setname_np(mThread, mName.c_str());
    }
}

void *VEXThread::Main(void *self)
{
    auto &thread = *static_cast<VEXThread *>(self);
    thread.ApplySettings();
    do {
        thread.RunGuarded();
    } while (!thread.EndOrRunAgain());
    return nullptr;
}

void VEXThread::ApplySettings()
{
    const vexbase::LockGuard hold(mLock);
    mThreadId = gettid();
    if (mNice) {
        setpriority(PRIO_PROCESS, static_cast<id_t>(mThreadId), *mNice);
    }
    if (!mName.empty()) {
        pthread_setname_np(pthread_self(), mName.c_str());
    }
}

void VEXThread::RunGuarded()
{
    try {
        ThreadRun();
    } catch (const abi::__forced_unwind &) {
        const vexbase::LockGuard hold(mLock);
        MarkEnded();
        throw; // Kill: the C library ends the process if this exception is not rethrown
    } catch (const std::exception &exception) {
        EndProcess(exception.what());
    } catch (...) {
        EndProcess("not a std::exception");
    }
}

// Checks and marks under one lock: a call of Start in between would be lost.
bool VEXThread::EndOrRunAgain()
{
    const vexbase::LockGuard hold(mLock);
    if (!mRunAgain) {
        MarkEnded();
        return true;
    }
    mRunAgain = false;
    mTerminate = false;
    ++mRun;
    mRunOver.NotifyAll();
    return false;
}

// From now on the thread may be joined: it does not take the lock again.
void VEXThread::MarkEnded()
{
    mThreadId = 0;
    mState = State::Ended;
    mRunOver.NotifyAll();
}

bool VEXThread::IsCurrent() const
{
    return mState == State::Running && pthread_equal(mThread, pthread_self()) != 0;
}

bool VEXThread::AwaitEnd(unsigned int timeoutMs)
{
    const auto end = VEXTime::EndOf(timeoutMs);
    const unsigned int run = mRun;
    bool inTime = true;
    while (inTime && mState == State::Running && mRun == run) {
        inTime = mRunOver.WaitUntil(mLock, end);
    }
    JoinEnded();
    return mState != State::Running || mRun != run;
}

void VEXThread::JoinEnded()
{
    if (mState == State::Ended) {
        pthread_join(mThread, nullptr);
        mState = State::Idle;
    }
}
