#include "vexbase/vex_event.h"
#include "vexbase/vex_thread.h"

#include <array>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr unsigned int kGenerousMs = 60000;

struct Settings
{
    std::size_t stackBytes = 0;
    int nice = 0;
    int policy = 0;
    int realTimePriority = 0;
    std::string name;
};

Settings OfThisThread()
{
    Settings settings;
    settings.nice = getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()));
    sched_param parameter{};
    pthread_getschedparam(pthread_self(), &settings.policy, &parameter);
    settings.realTimePriority = parameter.sched_priority;
    pthread_attr_t attributes;
    pthread_getattr_np(pthread_self(), &attributes);
    pthread_attr_getstacksize(&attributes, &settings.stackBytes);
    pthread_attr_destroy(&attributes);
    std::array<char, 16> name{};
    pthread_getname_np(pthread_self(), name.data(), name.size());
    settings.name = name.data();
    return settings;
}

// A thread that reads its own settings on request.
class LookingThread : public VEXThread
{
public:
    ~LookingThread() override
    {
        Stop(0);
        mAsked.Signal();
        EXPECT_EQ(Stop(kGenerousMs), 0);
    }
    bool ThreadLoop() override
    {
        static_cast<void>(mAsked.WaitForSignal(vexbase::kInfinite));
        mSettings = OfThisThread();
        mAnswered.Signal();
        return true;
    }
    Settings Look()
    {
        mAsked.Signal();
        EXPECT_EQ(mAnswered.WaitForSignal(kGenerousMs), 0);
        return mSettings;
    }

private:
    VEXEvent mAsked{VEXEvent::Reset::Automatic};
    VEXEvent mAnswered{VEXEvent::Reset::Automatic};
    Settings mSettings;
};

// Runs code on a thread that has the rights of an ordinary user.
void AsOrdinaryUser(const std::function<void()> &code)
{
    std::thread([&code] {
        if (geteuid() == 0) { // the system call changes only this thread
            ASSERT_EQ(syscall(SYS_setresuid, -1, 65534, -1), 0);
        }
        code();
    }).join();
}

} // namespace

TEST(VEXThreadStack, HasAbout128KiB)
{
    constexpr std::size_t kOwnBytes = 128U * 1024;
    constexpr std::size_t kSanitizerBytes = 64U * 1024; // added by the thread sanitizer
    LookingThread thread;
    ASSERT_EQ(thread.Start(), 0);
    const std::size_t bytes = thread.Look().stackBytes;
    EXPECT_GE(bytes, kOwnBytes / 2); // the guard page and the thread's own variables are in it
    EXPECT_LE(bytes, kOwnBytes + kSanitizerBytes);
}

TEST(VEXThreadPriority, SetBeforeStartAppliesFromTheStart)
{
    LookingThread thread;
    EXPECT_EQ(thread.SetPriority(7), 0);
    EXPECT_EQ(thread.GetPriority(), 7);
    ASSERT_EQ(thread.Start(), 0);
    EXPECT_EQ(thread.Look().nice, 7);
    EXPECT_EQ(thread.GetPriority(), 7);
    EXPECT_NE(getpriority(PRIO_PROCESS, 0), 7); // the priority of this thread
}

TEST(VEXThreadPriority, OfARunningThreadIsChangedAtOnce)
{
    LookingThread thread;
    ASSERT_EQ(thread.Start(), 0);
    EXPECT_EQ(thread.Look().nice, getpriority(PRIO_PROCESS, 0));
    EXPECT_EQ(thread.SetPriority(19), 0);
    EXPECT_EQ(thread.Look().nice, 19);
    EXPECT_EQ(thread.GetPriority(), 19);
}

TEST(VEXThreadPriority, NotSetIsInherited)
{
    std::thread([] { // a new thread, because the test's own thread must keep its priority
        ASSERT_EQ(setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), 11), 0);
        LookingThread thread;
        EXPECT_EQ(thread.GetPriority(), 11);
        ASSERT_EQ(thread.Start(), 0);
        EXPECT_EQ(thread.Look().nice, 11);
        EXPECT_EQ(thread.GetPriority(), 11);
    })
        .join();
}

TEST(VEXThreadPriority, OutOfRangeIsRefused)
{
    LookingThread thread;
    EXPECT_LT(thread.SetPriority(20), 0);
    EXPECT_LT(thread.SetPriority(-21), 0);
    EXPECT_EQ(thread.GetPriority(), getpriority(PRIO_PROCESS, 0));
    EXPECT_EQ(thread.SetPriority(19), 0);
    EXPECT_EQ(thread.SetPriority(-20), 0);
}

TEST(VEXThreadPriority, ThatTheSystemRefusesFailsAndChangesNothing)
{
    LookingThread thread;
    ASSERT_EQ(thread.Start(), 0);
    EXPECT_EQ(thread.SetPriority(10), 0);
    EXPECT_EQ(thread.Look().nice, 10);
    AsOrdinaryUser([&] { EXPECT_LT(thread.SetPriority(-20), 0); });
    EXPECT_EQ(thread.Look().nice, 10);
}

TEST(VEXThreadRealTime, IsSetUnlessTheSystemRefuses)
{
    LookingThread thread;
    ASSERT_EQ(thread.Start(), 0);
    const int status = thread.SetRealTime(1);
    const Settings settings = thread.Look();
    if (status == 0) {
        EXPECT_EQ(settings.policy, SCHED_RR);
        EXPECT_EQ(settings.realTimePriority, 1);
    } else {
        EXPECT_LT(status, 0);
        EXPECT_EQ(settings.policy, SCHED_OTHER);
    }
}

TEST(VEXThreadRealTime, FailsWithoutARunningThread)
{
    VEXThread thread;
    EXPECT_LT(thread.SetRealTime(1), 0);
    ASSERT_EQ(thread.Start(), 0);
    EXPECT_EQ(thread.Stop(kGenerousMs), 0);
    EXPECT_LT(thread.SetRealTime(1), 0);
}

TEST(VEXThreadRealTime, OutOfRangeIsRefused)
{
    LookingThread thread;
    ASSERT_EQ(thread.Start(), 0);
    for (const int priority : {0, 100, -1}) {
        EXPECT_LT(thread.SetRealTime(priority), 0) << priority;
    }
    EXPECT_EQ(thread.Look().policy, SCHED_OTHER);
}

TEST(VEXThreadRealTime, ThatTheSystemRefusesFailsAndChangesNothing)
{
    LookingThread thread;
    ASSERT_EQ(thread.Start(), 0);
    AsOrdinaryUser([&] { EXPECT_LT(thread.SetRealTime(99), 0); });
    EXPECT_EQ(thread.Look().policy, SCHED_OTHER);
}

TEST(VEXThreadName, SetBeforeStartAppliesFromTheStart)
{
    LookingThread thread;
    thread.SetThreadName("beacon-ssdp");
    ASSERT_EQ(thread.Start(), 0);
    EXPECT_EQ(thread.Look().name, "beacon-ssdp");
}

TEST(VEXThreadName, OfARunningThreadIsChangedAtOnce)
{
    LookingThread thread;
    ASSERT_EQ(thread.Start(), 0);
    thread.SetThreadName("renamed");
    EXPECT_EQ(thread.Look().name, "renamed");
}

TEST(VEXThreadName, IsCutToFifteenBytes)
{
    LookingThread thread;
    thread.SetThreadName("0123456789abcdef");
    ASSERT_EQ(thread.Start(), 0);
    EXPECT_EQ(thread.Look().name, "0123456789abcde");
}
