#include "main/leaving.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <csignal>
#include <semaphore.h>
#include <sys/time.h>
#include <unistd.h>
#include <utility>

namespace {

// Leaving is to take two seconds at most: this much, and the end of the process.
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

// SA_RESTART: what a signal interrupts is to take no notice of it.
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
    const std::lock_guard<std::mutex> held(mMutex);
    mDuty = std::move(duty);
}

Leaving::Duty Leaving::TakeDuty()
{
    const std::lock_guard<std::mutex> held(mMutex);
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
    QMetaObject::invokeMethod(QCoreApplication::instance(), &QCoreApplication::quit,
                              Qt::QueuedConnection);
}
