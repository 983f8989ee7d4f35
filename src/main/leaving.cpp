#include "main/leaving.h"

#include <QCoreApplication>
#include <csignal>
#include <semaphore.h>
#include <sys/eventfd.h>
#include <sys/time.h>
#include <unistd.h>
#include <utility>

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
    : mDone(eventfd(0, EFD_CLOEXEC)), mQuit(mDone, QSocketNotifier::Read)
{
    QObject::connect(&mQuit, &QSocketNotifier::activated, QCoreApplication::quit);
    gLastAct = lastAct;
    sem_init(&gAsked, 0, 0);
    mThread.Attach([this] { Run(); });
    if (mThread.Start() == vexbase::kSuccess) {
        HandleEnding(Wake);
    }
}

Leaving::~Leaving()
{
    sem_post(&gAsked);
    static_cast<void>(mThread.Stop(vexbase::kInfinite));
    mQuit.setEnabled(false);
    close(mDone);
}

void Leaving::SetDuty(Duty duty)
{
    std::unique_lock<std::mutex> held(mMutex);
    if (!mAsked) {
        mDuty = std::move(duty);
        return;
    }
    held.unlock();
    duty();
}

Leaving::Duty Leaving::TakeDuty()
{
    const std::lock_guard<std::mutex> held(mMutex);
    mAsked = true;
    return std::exchange(mDuty, nullptr);
}

void Leaving::Run()
{
    while (sem_wait(&gAsked) != 0) {
        // interrupted by another signal
    }
    HandleEnding(SIG_DFL);
    EndAfterLongest();
    if (const Duty duty = TakeDuty()) {
        duty();
    }
    static_cast<void>(eventfd_write(mDone, 1));
}
