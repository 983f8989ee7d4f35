#include "main/leaving.h"

#include <QCoreApplication>
#include <csignal>
#include <semaphore.h>
#include <sys/eventfd.h>
#include <sys/time.h>
#include <unistd.h>
#include <utility>

namespace beacond {
namespace {

// The process must end within two seconds of the signal. Half a second is left for the end
// of the process itself.
constexpr timeval kLongest{1, 500000};

// Used by the signal handlers:
sem_t gSignal;
Leaving::LastAct gLastAct = nullptr;

void Wake(int /*signal*/)
{
    sem_post(&gSignal);
}

void EndNow(int /*signal*/)
{
    gLastAct();
    _exit(0);
}

// SA_RESTART: the kernel restarts the system calls that the signal interrupts, if it can.
void Handle(int signal, void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(signal, &action, nullptr);
}

void HandleEnding(void (*handler)(int))
{
    Handle(SIGTERM, handler);
    Handle(SIGINT, handler);
}

void EndAfterLongest()
{
    Handle(SIGALRM, EndNow);
    const itimerval timer{{0, 0}, kLongest};
    setitimer(ITIMER_REAL, &timer, nullptr);
}

} // namespace

Leaving::Leaving(LastAct lastAct)
    : mDone(eventfd(0, EFD_CLOEXEC)), mQuit(mDone, QSocketNotifier::Read)
{
    QObject::connect(&mQuit, &QSocketNotifier::activated, QCoreApplication::quit);
    gLastAct = lastAct;
    sem_init(&gSignal, 0, 0);
    mThread.Attach([this] { Run(); });
    if (mThread.Start() == vexbase::kSuccess) {
        HandleEnding(Wake);
    }
}

Leaving::~Leaving()
{
    sem_post(&gSignal);
    static_cast<void>(mThread.Stop(vexbase::kInfinite));
    mQuit.setEnabled(false);
    close(mDone);
}

void Leaving::SetDuty(Duty duty)
{
    {
        const vexbase::LockGuard hold(mLock);
        if (!mSignalled) {
            mDuty = std::move(duty);
            return;
        }
    }
    duty(); // without the lock: it may wait
}

Leaving::Duty Leaving::TakeDuty()
{
    const vexbase::LockGuard hold(mLock);
    mSignalled = true;
    return std::exchange(mDuty, nullptr);
}

void Leaving::Run()
{
    while (sem_wait(&gSignal) != 0) {
        // interrupted by another signal
    }
    HandleEnding(SIG_DFL);
    EndAfterLongest();
    if (const Duty duty = TakeDuty()) {
        duty();
    }
    static_cast<void>(eventfd_write(mDone, 1));
}

} // namespace beacond
