#include "main/leaving.h"

#include "denied_call.h"
#include "support/application.h"
#include "support/blocked_thread.h"
#include "support/live_child.h"

#include <QTimer>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define WITH_THREAD_SANITIZER
// If the main thread is blocked, it does not join the thread that has ended.
extern "C" const char *__tsan_default_options()
{
    return "report_thread_leaks=0";
}
#endif
#endif

namespace {

using beacond::Leaving;
using test::LiveChild;

constexpr int kEndedBySigterm = 128 + SIGTERM;
constexpr int kEndedBySigint = 128 + SIGINT;

// Uses the system call, as in a signal handler: a buffered line would be lost when the process
// ends.
void Say(const char *line)
{
    static_cast<void>(write(STDOUT_FILENO, line, std::strlen(line)));
}

[[noreturn]] void Hang()
{
    while (true) {
        pause();
    }
}

// The parts of the process that are blocked.
struct Stalled
{
    bool duty = false;
    bool mainThread = false;
};

// A daemon, for a child process. It reports its progress on standard output.
int RunDaemon(Stalled stalled)
{
    const test::Application application;
    Leaving leaving([] { Say("last act\n"); });
    leaving.SetDuty([stalled] {
        Say("duty\n");
        if (stalled.duty) {
            Hang();
        }
    });
    QTimer::singleShot(0, [stalled] {
        Say("running\n");
        if (stalled.mainThread) {
            Hang();
        }
    });
    const int status = QCoreApplication::exec();
    Say("left\n");
    return status;
}

class LeavingAtASignal : public testing::TestWithParam<int>
{
protected:
    // Ends a daemon by the signal. Returns its output.
    static std::string End(Stalled stalled)
    {
        LiveChild daemon([stalled] { return RunDaemon(stalled); });
        EXPECT_TRUE(daemon.WaitForOut("running\n"));
        daemon.Signal(GetParam());
        EXPECT_EQ(daemon.WaitForEnd(), 0);
        EXPECT_EQ(daemon.Err(), "");
        return daemon.Out();
    }
};

} // namespace

TEST_P(LeavingAtASignal, CallsTheDutyAndEndsTheEventLoopWithStatus0)
{
    EXPECT_EQ(End({false, false}), "running\nduty\nleft\n");
}

TEST_P(LeavingAtASignal, CallsTheDutyAndTheLastActIfTheMainThreadIsBlocked)
{
    EXPECT_EQ(End({false, true}), "running\nduty\nlast act\n");
}

TEST_P(LeavingAtASignal, CallsTheLastActIfTheDutyBlocks)
{
    EXPECT_EQ(End({true, false}), "running\nduty\nlast act\n");
}

INSTANTIATE_TEST_SUITE_P(, LeavingAtASignal, testing::Values(SIGTERM, SIGINT));

// The process signals itself: the second signal arrives before the time-out.
TEST(Leaving, EndsAtOnceAtASecondSignal)
{
    const std::vector<std::array<int, 3>> cases{{SIGTERM, SIGTERM, kEndedBySigterm},
                                                {SIGTERM, SIGINT, kEndedBySigint},
                                                {SIGINT, SIGTERM, kEndedBySigterm},
                                                {SIGINT, SIGINT, kEndedBySigint}};
    for (const auto &[sooner, later, status] : cases) {
        LiveChild daemon([first = sooner, second = later] {
            const test::Application application;
            Leaving leaving([] { Say("last act\n"); });
            leaving.SetDuty([second] {
                Say("duty\n");
                kill(getpid(), second);
                Hang();
            });
            kill(getpid(), first);
            return QCoreApplication::exec();
        });
        EXPECT_EQ(daemon.WaitForEnd(), status);
        EXPECT_EQ(daemon.Out(), "duty\n");
    }
}

TEST(Leaving, CallsTheDutyOnceIfTheSignalArrivesBeforeTheDutyIsSet)
{
    LiveChild daemon([] {
        const test::Application application;
        Leaving leaving([] { Say("last act\n"); });
        kill(getpid(), SIGTERM);
        leaving.SetDuty([] { Say("duty\n"); });
        const int status = QCoreApplication::exec();
        Say("left\n");
        return status;
    });
    EXPECT_EQ(daemon.WaitForEnd(), 0);
    EXPECT_EQ(daemon.Out(), "duty\nleft\n");
}

TEST(Leaving, CallsADutyThatIsSetAfterTheSignalAtOnce)
{
    LiveChild daemon([] {
        const test::Application application;
        std::atomic<bool> called{false};
        Leaving leaving([] { Say("last act\n"); });
        leaving.SetDuty([&called] {
            Say("duty\n");
            called = true;
        });
        kill(getpid(), SIGTERM);
        while (!called) {
            std::this_thread::yield();
        }
        leaving.SetDuty([] { Say("late duty\n"); });
        Say("set\n");
        return QCoreApplication::exec();
    });
    EXPECT_EQ(daemon.WaitForEnd(), 0);
    EXPECT_EQ(daemon.Out(), "duty\nlate duty\nset\n");
}

TEST(Leaving, WaitsForTheDutyIfTheMainThreadExitsAfterTheSignal)
{
    LiveChild daemon([] {
        const test::Application application;
        Leaving leaving([] { Say("last act\n"); });
        leaving.SetDuty([] { Say("duty\n"); });
        kill(getpid(), SIGTERM);
        std::exit(1); // NOLINT(concurrency-mt-unsafe): no other thread calls exit
        return 2;
    });
    EXPECT_EQ(daemon.WaitForEnd(), 0);
    EXPECT_EQ(daemon.Out(), "duty\n");
}

// The thread sanitizer calls a signal's handler only after the system call.
#ifndef WITH_THREAD_SANITIZER
TEST(Leaving, TheSignalDoesNotInterruptASystemCallOfTheMainThread)
{
    LiveChild daemon([] {
        std::array<int, 2> ends{};
        if (pipe(ends.data()) != 0) {
            return 1;
        }
        const test::Application application;
        Leaving leaving([] { Say("last act\n"); });
        leaving.SetDuty([&ends] { static_cast<void>(write(ends[1], "x", 1)); });
        std::thread sender([main = pthread_self()] {
            test::AwaitBlocked(getpid());
            pthread_kill(main, SIGTERM);
        });
        char byte = 0;
        Say(read(ends[0], &byte, 1) == 1 ? "read\n" : "interrupted\n");
        sender.join();
        return 0;
    });
    EXPECT_EQ(daemon.WaitForEnd(), 0);
    EXPECT_EQ(daemon.Out(), "read\n");
}
#endif

TEST(Leaving, ChangesNoExitWithoutASignal)
{
    LiveChild daemon([] {
        const test::Application application;
        Leaving leaving([] { Say("last act\n"); });
        leaving.SetDuty([] { Say("duty\n"); });
        std::exit(1); // NOLINT(concurrency-mt-unsafe): no other thread calls exit
        return 2;
    });
    EXPECT_EQ(daemon.WaitForEnd(), 1);
    EXPECT_EQ(daemon.Out(), "");
}

TEST(Leaving, CallsTheDutyInItsDestructorIfThereWasNoSignal)
{
    LiveChild daemon([] {
        const test::Application application;
        {
            Leaving leaving([] { Say("last act\n"); });
            leaving.SetDuty([] { Say("duty\n"); });
        }
        Say("gone\n");
        return 3;
    });
    EXPECT_EQ(daemon.WaitForEnd(), 3);
    EXPECT_EQ(daemon.Out(), "duty\ngone\n");
}

TEST(Leaving, KeepsTheDefaultActionsIfItsThreadCannotBeCreated)
{
    LiveChild daemon([] {
        const test::Application application;
        test::DenyCall(SYS_clone3, EAGAIN);
        Leaving leaving([] { Say("last act\n"); });
        kill(getpid(), SIGTERM);
        Say("still there\n");
        return 0;
    });
    EXPECT_EQ(daemon.WaitForEnd(), kEndedBySigterm);
    EXPECT_EQ(daemon.Out(), "");
}
