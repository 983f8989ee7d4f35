#include "mdns/avahi_qt_poll.h"

#include "event_loop.h"

#include <QMetaMethod>
#include <QPointer>
#include <avahi-common/timeval.h>
#include <functional>
#include <limits>

namespace {

const AvahiPoll *const kPoll = avahi_qt_poll_get();

// The wall-clock time this number of microseconds from now.
timeval fromNow(AvahiUsec microseconds)
{
    timeval deadline{};
    gettimeofday(&deadline, nullptr);
    avahi_timeval_add(&deadline, microseconds);
    return deadline;
}

// The callback of a time-out: records the time-out, then runs the test's action.
struct Observer
{
    std::vector<AvahiTimeout *> calls;
    std::function<void(AvahiTimeout *)> action = [](AvahiTimeout *) {};

    static void callback(AvahiTimeout *timeout, void *userdata)
    {
        auto *self = static_cast<Observer *>(userdata);
        self->calls.push_back(timeout);
        self->action(timeout);
    }
};

class AvahiTimeoutOnQt : public EventLoop
{
protected:
    AvahiTimeout *newTimeout(const timeval *deadline)
    {
        return kPoll->timeout_new(kPoll, deadline, Observer::callback, &m_observer);
    }
    bool waitForCalls(std::size_t count)
    {
        return waitFor([this, count] { return m_observer.calls.size() >= count; });
    }
    static QTimer *timer(AvahiTimeout *timeout) { return timeout->findChild<QTimer *>(); }
    // Waits until another time-out, of 20 ms, has expired.
    void letTimePass()
    {
        const timeval soon = fromNow(20000);
        Observer other;
        AvahiTimeout *timeout = kPoll->timeout_new(kPoll, &soon, Observer::callback, &other);
        EXPECT_TRUE(waitFor([&other] { return !other.calls.empty(); }));
        kPoll->timeout_free(timeout);
    }
    // The timer's delay, in milliseconds, for a deadline in `ahead` microseconds. Tries again
    // if slack microseconds or more have passed before the check.
    static int delayFor(AvahiTimeout *timeout, AvahiUsec ahead, AvahiUsec slack)
    {
        timeval deadline{};
        do {
            deadline = fromNow(ahead);
            kPoll->timeout_update(timeout, &deadline);
        } while (avahi_age(&deadline) >= slack - ahead);
        return timer(timeout)->interval();
    }

    Observer m_observer;
};

TEST(AvahiTimeoutMetaObject, HasOneSlotAndNoSignal)
{
    const QMetaObject &meta = AvahiTimeout::staticMetaObject;
    ASSERT_EQ(meta.methodCount() - meta.methodOffset(), 1);
    EXPECT_EQ(meta.method(meta.methodOffset()).methodSignature(), "timeout()");
    EXPECT_EQ(meta.method(meta.methodOffset()).methodType(), QMetaMethod::Slot);
}

TEST_P(AvahiTimeoutOnQt, CallsBackOnceWhenItsDeadlineIsReached)
{
    const timeval deadline = fromNow(5000);
    AvahiTimeout *timeout = newTimeout(&deadline);
    EXPECT_EQ(timeout->parent(), nullptr);
    EXPECT_TRUE(timer(timeout)->isSingleShot());
    EXPECT_TRUE(timer(timeout)->isActive());
    ASSERT_TRUE(waitForCalls(1));
    EXPECT_FALSE(timer(timeout)->isActive());
    letTimePass();
    EXPECT_EQ(m_observer.calls, std::vector<AvahiTimeout *>{timeout});
    kPoll->timeout_free(timeout);
}

TEST_P(AvahiTimeoutOnQt, WithoutDeadlineFiresOnlyAfterAnUpdate)
{
    AvahiTimeout *timeout = newTimeout(nullptr);
    EXPECT_FALSE(timer(timeout)->isActive());
    letTimePass();
    EXPECT_TRUE(m_observer.calls.empty());

    const timeval deadline = fromNow(1000);
    kPoll->timeout_update(timeout, &deadline);
    EXPECT_TRUE(waitForCalls(1));
    kPoll->timeout_free(timeout);
}

TEST_P(AvahiTimeoutOnQt, UpdatedToNoDeadlineStops)
{
    const timeval deadline = fromNow(1000);
    AvahiTimeout *timeout = newTimeout(&deadline);
    kPoll->timeout_update(timeout, nullptr);
    EXPECT_FALSE(timer(timeout)->isActive());
    letTimePass();
    EXPECT_TRUE(m_observer.calls.empty());
    kPoll->timeout_free(timeout);
}

TEST_P(AvahiTimeoutOnQt, UpdatedReplacesTheDeadline)
{
    const timeval soon = fromNow(1000);
    AvahiTimeout *timeout = newTimeout(&soon);
    const timeval later = fromNow(3600LL * 1000 * 1000);
    kPoll->timeout_update(timeout, &later);
    letTimePass();
    EXPECT_TRUE(m_observer.calls.empty());
    EXPECT_TRUE(timer(timeout)->isActive());
    kPoll->timeout_free(timeout);
}

TEST_P(AvahiTimeoutOnQt, FiresWithoutDelayForADeadlineOfNowOrPast)
{
    for (const AvahiUsec ahead : {0LL, -1LL, -999LL, -1000LL, -1001LL, -3600LL * 1000 * 1000}) {
        const timeval deadline = fromNow(ahead);
        m_observer.calls.clear();
        AvahiTimeout *timeout = newTimeout(&deadline);
        EXPECT_EQ(timer(timeout)->interval(), 0) << ahead;
        EXPECT_TRUE(timer(timeout)->isActive()) << ahead;
        EXPECT_TRUE(waitForCalls(1)) << ahead;
        kPoll->timeout_free(timeout);
    }
}

TEST_P(AvahiTimeoutOnQt, RoundsTheDelayDownToMilliseconds)
{
    AvahiTimeout *timeout = newTimeout(nullptr);
    EXPECT_EQ(delayFor(timeout, 999, 999), 0);
    EXPECT_EQ(delayFor(timeout, 1500, 500), 1);
    EXPECT_EQ(delayFor(timeout, 2999, 999), 2);
    EXPECT_EQ(delayFor(timeout, 25000999, 999), 25000);
    kPoll->timeout_free(timeout);
}

TEST_P(AvahiTimeoutOnQt, WaitsTheLongestTimeOfATimerForAFarDeadline)
{
    const timeval deadline = fromNow(50LL * 24 * 3600 * 1000 * 1000);
    AvahiTimeout *timeout = newTimeout(&deadline);
    EXPECT_EQ(timer(timeout)->interval(), std::numeric_limits<int>::max());
    kPoll->timeout_free(timeout);
}

TEST_P(AvahiTimeoutOnQt, MayBeArmedAgainInsideItsCallback)
{
    const timeval deadline = fromNow(0);
    m_observer.action = [&](AvahiTimeout *self) {
        kPoll->timeout_update(self, m_observer.calls.size() < 3 ? &deadline : nullptr);
    };
    AvahiTimeout *timeout = newTimeout(&deadline);
    ASSERT_TRUE(waitForCalls(3));
    letTimePass();
    EXPECT_EQ(m_observer.calls.size(), 3U);
    kPoll->timeout_free(timeout);
}

TEST_P(AvahiTimeoutOnQt, FreedNeverFires)
{
    const timeval deadline = fromNow(0);
    const QPointer<AvahiTimeout> timeout(newTimeout(&deadline));
    kPoll->timeout_free(timeout);
    EXPECT_TRUE(timeout.isNull());
    letTimePass();
    EXPECT_TRUE(m_observer.calls.empty());
}

TEST_P(AvahiTimeoutOnQt, MayBeFreedInsideItsCallback)
{
    const timeval deadline = fromNow(0);
    m_observer.action = kPoll->timeout_free;
    const QPointer<AvahiTimeout> timeout(newTimeout(&deadline));
    ASSERT_TRUE(waitForCalls(1));
    EXPECT_TRUE(timeout.isNull());
    letTimePass();
    EXPECT_EQ(m_observer.calls.size(), 1U);
}

TEST_P(AvahiTimeoutOnQt, FreeingNullDoesNothing)
{
    kPoll->timeout_free(nullptr);
    letTimePass();
    EXPECT_TRUE(m_observer.calls.empty());
}

INSTANTIATE_TEST_SUITE_P(Both, AvahiTimeoutOnQt,
                         testing::Values(Dispatcher::Glib, Dispatcher::Poll), dispatcherName);

} // namespace
