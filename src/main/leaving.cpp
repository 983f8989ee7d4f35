#include "main/leaving.h"

#include <QCoreApplication>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <poll.h>
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
int gEvent = -1; // Leaving::mEvent
Leaving::LastAct gLastAct = nullptr;

// Wakes the event loop first, which then waits for the duty. When a whole system shuts down,
// avahi-daemon often ends at the same moment, and without this wait the event loop would end
// the process before the goodbyes are sent. If the loop notices the signal and the end of
// avahi-daemon in one turn, FinishAtExit() waits.
void Wake(int /*signal*/)
{
    const int interrupted = errno; // of the code that the signal interrupts
    static_cast<void>(eventfd_write(gEvent, 1));
    sem_post(&gSignal);
    errno = interrupted;
}

bool Signalled()
{
    pollfd event{gEvent, POLLIN, {}};
    return poll(&event, 1, 0) == 1;
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

void SetEndHandlers(void (*handler)(int))
{
    Handle(SIGTERM, handler);
    Handle(SIGINT, handler);
}

void EndAfterLongest()
{
    Handle(SIGALRM, EndNow);
    itimerval timer{};
    timer.it_value = kLongest;
    setitimer(ITIMER_REAL, &timer, nullptr);
}

} // namespace

Leaving *Leaving::mInstance = nullptr;

// The event loop is woken through a descriptor, not by a posted event: the memory of a posted
// event would pass between threads under locks of Qt that the thread sanitizer cannot see.
Leaving::Leaving(LastAct lastAct)
    : mEvent(eventfd(0, EFD_CLOEXEC)), mNotifier(mEvent.Descriptor(), QSocketNotifier::Read)
{
    QObject::connect(&mNotifier, &QSocketNotifier::activated, [this] {
        AwaitDuty();
        QCoreApplication::quit();
    });
    gLastAct = lastAct;
    gEvent = mEvent.Descriptor();
    sem_init(&gSignal, 0, 0);
    mInstance = this;
    static_cast<void>(std::atexit(FinishAtExit)); // if this fails, an exit does not wait
    mThread.Attach([this] { Run(); });
    if (mThread.Start() == vexbase::kSuccess) {
        SetEndHandlers(Wake);
    }
}

Leaving::~Leaving()
{
    mInstance = nullptr;
    sem_post(&gSignal);
}

void Leaving::FinishAtExit()
{
    if (mInstance != nullptr && Signalled()) {
        mInstance->AwaitDuty();
        _exit(0);
    }
}

void Leaving::AwaitDuty()
{
    static_cast<void>(mThread.Stop(vexbase::kInfinite));
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
    SetEndHandlers(SIG_DFL);
    EndAfterLongest();
    if (const Duty duty = TakeDuty()) {
        duty();
    }
}

} // namespace beacond
