#include "vexbase/vex_thread.h"

#include "vexbase/vex_no_cancellation.h"
#include "vexbase/vex_wait.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <cxxabi.h>
#include <exception>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::size_t kMaxNameLength = 15; // the kernel's limit

// One line whatever the text holds, and no memory asked for: the exception may
// be about just that.
void ReportException(const char *what)
{
    std::array<char, kMaxNameLength + 1> name{};
    pthread_getname_np(pthread_self(), name.data(), name.size());
    const auto lineLength = static_cast<int>(std::strcspn(what, "\r\n"));
    std::fprintf(stderr, "ThreadRun: An exception ended the thread \"%s\": %.*s\n", name.data(),
                 lineLength, what);
}

} // namespace

// EndMark marks a run as ended on every way out of it, Kill's included.
class VEXThread::EndMark
{
public:
    explicit EndMark(VEXThread &thread) : mThread(thread) {}
    EndMark(const EndMark &) = delete;
    EndMark &operator=(const EndMark &) = delete;
    ~EndMark()
    {
        const std::lock_guard<std::mutex> held(mThread.mMutex);
        mThread.mThreadId = 0;
        mThread.mState = State::Ended;
        mThread.mEnded.notify_all();
    }

private:
    VEXThread &mThread;
};

VEXThread::~VEXThread()
{
    const VEXNoCancellation whole;
    VEXThread::Stop(kVEXInfinite);
}

int VEXThread::Start()
{
    const std::lock_guard<std::mutex> held(mMutex);
    if (mState == State::Running) {
        return mTerminate ? kVEXFailure : kVEXSuccess;
    }
    JoinEnded();
    if (pthread_create(&mThread, nullptr, &Foot, this) != 0) {
        return kVEXFailure;
    }
    mState = State::Running;
    mTerminate = false;
    ++mRun;
    return kVEXSuccess;
}

int VEXThread::Stop(unsigned int timeoutMs)
{
    std::unique_lock<std::mutex> held(mMutex);
    mTerminate = true;
    if (IsCurrent()) {
        return kVEXFailure;
    }
    return AwaitEnd(held, timeoutMs) ? kVEXSuccess : kVEXTimedOut;
}

void VEXThread::Kill()
{
    std::unique_lock<std::mutex> held(mMutex);
    mTerminate = true;
    if (mState == State::Running) {
        pthread_cancel(mThread);
    }
    if (!IsCurrent()) {
        static_cast<void>(AwaitEnd(held, kVEXInfinite));
    }
}

bool VEXThread::Active() const
{
    const std::lock_guard<std::mutex> held(mMutex);
    return mState == State::Running;
}

bool VEXThread::IsCurrentThread() const
{
    const std::lock_guard<std::mutex> held(mMutex);
    return IsCurrent();
}

int VEXThread::SetPriority(int nice)
{
    if (nice < -20 || nice > 19) {
        return kVEXFailure;
    }
    const std::lock_guard<std::mutex> held(mMutex);
    if (mThreadId != 0 && setpriority(PRIO_PROCESS, static_cast<id_t>(mThreadId), nice) != 0) {
        return kVEXFailure;
    }
    mNice = nice;
    return kVEXSuccess;
}

int VEXThread::GetPriority() const
{
    const std::lock_guard<std::mutex> held(mMutex);
    if (mThreadId == 0 && mNice) {
        return *mNice;
    }
    // The number 0 names the caller, from whom a new thread has its value.
    return getpriority(PRIO_PROCESS, static_cast<id_t>(mThreadId));
}

int VEXThread::SetRealTime(int priority)
{
    sched_param parameter{};
    parameter.sched_priority = priority;
    const std::lock_guard<std::mutex> held(mMutex);
    if (mState != State::Running || pthread_setschedparam(mThread, SCHED_RR, &parameter) != 0) {
        return kVEXFailure;
    }
    return kVEXSuccess;
}

void VEXThread::ThreadRun()
{
    if (mBody) {
        mBody();
        return;
    }
    ThreadInit();
    while (!Terminate() && ThreadLoop()) {
    }
    pthread_testcancel(); // a killed thread goes without ThreadFlush
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
    const std::lock_guard<std::mutex> held(mMutex);
    return mTerminate;
}

void VEXThread::Attach(Body body)
{
    const std::lock_guard<std::mutex> held(mMutex);
    mBody = std::move(body);
}

void VEXThread::SetThreadName(const std::string &name)
{
    const std::lock_guard<std::mutex> held(mMutex);
    mName = name.substr(0, kMaxNameLength);
    if (mState == State::Running) {
        pthread_setname_np(mThread, mName.c_str());
    }
}

void *VEXThread::Foot(void *self)
{
    auto &thread = *static_cast<VEXThread *>(self);
    const EndMark mark(thread);
    thread.ApplySettings();
    thread.RunGuarded();
    return nullptr;
}

void VEXThread::ApplySettings()
{
    const std::lock_guard<std::mutex> held(mMutex);
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
        throw; // Kill: the system insists on unwinding to the thread's very start
    } catch (const std::exception &exception) {
        ReportException(exception.what());
    } catch (...) {
        ReportException("not a std::exception");
    }
}

bool VEXThread::IsCurrent() const
{
    return mState == State::Running && pthread_equal(mThread, pthread_self()) != 0;
}

bool VEXThread::AwaitEnd(std::unique_lock<std::mutex> &held, unsigned int timeoutMs)
{
    const unsigned int run = mRun;
    const auto ended = [this, run] { return mState != State::Running || mRun != run; };
    if (!VEXWait(mEnded, held, timeoutMs, ended)) {
        return false;
    }
    JoinEnded();
    return true;
}

void VEXThread::JoinEnded()
{
    if (mState == State::Ended) {
        pthread_join(mThread, nullptr);
        mState = State::Idle;
    }
}
