#include "main/leaving.h"

#include <QCoreApplication>
#include <csignal>
#include <semaphore.h>
#include <sys/time.h>
#include <unistd.h>
#include <utility>

namespace beacond {
namespace {

// Leaving must take two seconds at most, the end of the process included.
constexpr timeval kLongest{1, 500000};

// What the handlers use.
sem_t gAsked;
Leaving::LastAct gLastAct = nullptr;

void Wake(int /*signal*/)
{
    sem_post(&gAsked);
}

void EndNow(int /*signal*/)
{
    gLastAct();
    _exit(0);
}

// SA_RESTART: system calls that the signal interrupts go on where the kernel can do so.
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
{
    gLastAct = lastAct;
    sem_init(&gAsked, 0, 0);
    mThread.Attach([this] { Run(); });
    if (mThread.Start() == kVEXSuccess) {
        HandleEnding(Wake);
    }
}

Leaving::~Leaving()
{
    sem_post(&gAsked);
    static_cast<void>(mThread.Stop(kVEXInfinite));
}

void Leaving::SetDuty(Duty duty)
{
    {
        const vexbase::LockGuard held(mLock);
        if (!mAsked) {
            mDuty = std::move(duty);
            return;
        }
    }
    duty();
}

Leaving::Duty Leaving::TakeDuty()
{
    const vexbase::LockGuard held(mLock);
    mAsked = true;
    return std::exchange(mDuty, nullptr);
}

// From the signal on, the event loop dispatches nothing but the wait for this thread.
// When a whole system shuts down, avahi-daemon often goes at the same moment, and its
// loss would end the process before the goodbyes are sent.
void Leaving::Run()
{
    while (sem_wait(&gAsked) != 0) {
        // interrupted by another signal
    }
    HandleEnding(SIG_DFL);
    EndAfterLongest();
    const auto wait = [this] {
        static_cast<void>(mThread.Stop(kVEXInfinite));
        QCoreApplication::quit();
    };
    QMetaObject::invokeMethod(QCoreApplication::instance(), wait, Qt::QueuedConnection);
    if (const Duty duty = TakeDuty()) {
        duty();
    }
}

} // namespace beacond
