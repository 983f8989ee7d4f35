#include "mdns/avahi_qt_poll.h"

#include "event_loop.h"

#include <QMetaMethod>
#include <QPointer>
#include <fcntl.h>
#include <functional>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr AvahiWatchEvent kNothing{};
constexpr auto kBoth = static_cast<AvahiWatchEvent>(AVAHI_WATCH_IN | AVAHI_WATCH_OUT);

const AvahiPoll *const kPoll = avahi_qt_poll_get();

// One end of two connected sockets; becomes readable on request.
class Ends
{
public:
    Ends() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, m_fds), 0); }
    Ends(const Ends &) = delete;
    Ends &operator=(const Ends &) = delete;
    ~Ends()
    {
        close(m_fds[0]);
        close(m_fds[1]);
    }
    [[nodiscard]] int fd() const { return m_fds[0]; }
    void makeReadable() { EXPECT_EQ(write(m_fds[1], "x", 1), 1); }
    void drain()
    {
        char byte = 0;
        while (read(m_fds[0], &byte, 1) == 1) {
        }
    }

private:
    int m_fds[2] = {-1, -1};
};

struct Call
{
    AvahiWatch *watch;
    int fd;
    AvahiWatchEvent event;
    AvahiWatchEvent askedInside;

    bool operator==(const Call &other) const
    {
        return watch == other.watch && fd == other.fd && event == other.event &&
               askedInside == other.askedInside;
    }
};

// The callback of a watch: records the call, then runs the test's action.
struct Observer
{
    std::vector<Call> calls;
    std::function<void(AvahiWatch *)> action = [](AvahiWatch *) {};

    static void callback(AvahiWatch *watch, int fd, AvahiWatchEvent event, void *userdata)
    {
        auto *self = static_cast<Observer *>(userdata);
        self->calls.push_back({watch, fd, event, kPoll->watch_get_events(watch)});
        self->action(watch);
    }
};

class AvahiWatchOnQt : public EventLoop
{
protected:
    AvahiWatch *newWatch(AvahiWatchEvent events)
    {
        return kPoll->watch_new(kPoll, m_ends.fd(), events, Observer::callback, &m_observer);
    }
    bool waitForCalls(std::size_t count)
    {
        return waitFor([this, count] { return m_observer.calls.size() >= count; });
    }
    // Runs the loop often enough to deliver all events that are ready.
    static void runIdle()
    {
        for (int pass = 0; pass < 10; ++pass) {
            QCoreApplication::processEvents();
        }
    }
    static std::vector<QSocketNotifier::Type> notifiers(const AvahiWatch *watch)
    {
        std::vector<QSocketNotifier::Type> types;
        for (const QSocketNotifier *notifier : watch->findChildren<QSocketNotifier *>()) {
            EXPECT_TRUE(notifier->isEnabled());
            types.push_back(notifier->type());
        }
        return types;
    }

    Ends m_ends;
    Observer m_observer;
};

// Tests that need several notifiers for one descriptor and direction. The poll dispatcher
// serves only the newest of them.
class AvahiWatchOnGlib : public AvahiWatchOnQt
{
};

TEST(AvahiPollTable, IsOneCompleteTableWithoutUserData)
{
    EXPECT_EQ(avahi_qt_poll_get(), kPoll);
    EXPECT_EQ(kPoll->userdata, nullptr);
    EXPECT_NE(kPoll->watch_new, nullptr);
    EXPECT_NE(kPoll->watch_update, nullptr);
    EXPECT_NE(kPoll->watch_get_events, nullptr);
    EXPECT_NE(kPoll->watch_free, nullptr);
    EXPECT_NE(kPoll->timeout_new, nullptr);
    EXPECT_NE(kPoll->timeout_update, nullptr);
    EXPECT_NE(kPoll->timeout_free, nullptr);
}

TEST(AvahiWatchMetaObject, HasTwoSlotsAndNoSignal)
{
    const QMetaObject &meta = AvahiWatch::staticMetaObject;
    ASSERT_EQ(meta.methodCount() - meta.methodOffset(), 2);
    EXPECT_EQ(meta.method(meta.methodOffset()).methodSignature(), "gotIn()");
    EXPECT_EQ(meta.method(meta.methodOffset() + 1).methodSignature(), "gotOut()");
    EXPECT_EQ(meta.method(meta.methodOffset()).methodType(), QMetaMethod::Slot);
    EXPECT_EQ(meta.method(meta.methodOffset() + 1).methodType(), QMetaMethod::Slot);
}

TEST_P(AvahiWatchOnQt, ReportsAReadableDescriptor)
{
    AvahiWatch *watch = newWatch(AVAHI_WATCH_IN);
    EXPECT_EQ(watch->parent(), nullptr);
    EXPECT_EQ(kPoll->watch_get_events(watch), 0);
    m_observer.action = [this](AvahiWatch *) { m_ends.drain(); };
    m_ends.makeReadable();
    ASSERT_TRUE(waitForCalls(1));
    runIdle();
    EXPECT_THAT(m_observer.calls,
                ElementsAre(Call{watch, m_ends.fd(), AVAHI_WATCH_IN, AVAHI_WATCH_IN}));
    EXPECT_EQ(kPoll->watch_get_events(watch), 0);
    kPoll->watch_free(watch);
}

TEST_P(AvahiWatchOnQt, ReportsAWritableDescriptorAsReadable)
{
    AvahiWatch *watch = newWatch(AVAHI_WATCH_OUT);
    m_observer.action = [](AvahiWatch *self) { kPoll->watch_update(self, kNothing); };
    ASSERT_TRUE(waitForCalls(1));
    runIdle();
    EXPECT_THAT(m_observer.calls,
                ElementsAre(Call{watch, m_ends.fd(), AVAHI_WATCH_IN, AVAHI_WATCH_IN}));
    EXPECT_EQ(kPoll->watch_get_events(watch), 0);
    kPoll->watch_free(watch);
}

TEST_P(AvahiWatchOnQt, ReportsNoEventInsideTheCallbackOfAnotherWatch)
{
    AvahiWatch *other = newWatch(kNothing);
    AvahiWatch *watch = newWatch(AVAHI_WATCH_IN);
    int known = -1;
    m_observer.action = [&](AvahiWatch *) {
        m_ends.drain();
        known = kPoll->watch_get_events(other);
    };
    m_ends.makeReadable();
    ASSERT_TRUE(waitForCalls(1));
    EXPECT_EQ(known, 0);
    kPoll->watch_free(watch);
    kPoll->watch_free(other);
}

TEST_P(AvahiWatchOnQt, WithoutEventsHasNoNotifierUntilUpdatedToIn)
{
    AvahiWatch *watch = newWatch(kNothing);
    EXPECT_THAT(notifiers(watch), IsEmpty());
    m_ends.makeReadable();
    runIdle();
    EXPECT_THAT(m_observer.calls, IsEmpty());

    kPoll->watch_update(watch, AVAHI_WATCH_IN);
    EXPECT_THAT(notifiers(watch), ElementsAre(QSocketNotifier::Read));
    EXPECT_TRUE(waitForCalls(1));
    kPoll->watch_free(watch);
}

TEST_P(AvahiWatchOnQt, UpdatedFromInToOutReplacesTheNotifier)
{
    AvahiWatch *watch = newWatch(AVAHI_WATCH_IN);
    const QPointer<QSocketNotifier> first = watch->findChild<QSocketNotifier *>();
    kPoll->watch_update(watch, AVAHI_WATCH_OUT);
    EXPECT_TRUE(first.isNull());
    EXPECT_THAT(notifiers(watch), ElementsAre(QSocketNotifier::Write));
    EXPECT_TRUE(waitForCalls(1));
    kPoll->watch_free(watch);
}

TEST_P(AvahiWatchOnQt, WatchesBothDirectionsUntilUpdatedToNothing)
{
    AvahiWatch *watch = newWatch(kBoth);
    EXPECT_THAT(notifiers(watch), ElementsAre(QSocketNotifier::Read, QSocketNotifier::Write));
    kPoll->watch_update(watch, kNothing);
    EXPECT_THAT(notifiers(watch), IsEmpty());
    kPoll->watch_free(watch);
}

TEST_P(AvahiWatchOnQt, IgnoresErrorAndHangUpBits)
{
    AvahiWatch *watch = newWatch(static_cast<AvahiWatchEvent>(AVAHI_WATCH_ERR | AVAHI_WATCH_HUP));
    EXPECT_THAT(notifiers(watch), IsEmpty());
    kPoll->watch_free(watch);
}

TEST_P(AvahiWatchOnQt, UpdatedFromInToInHasTwoReadNotifiers)
{
    AvahiWatch *watch = newWatch(AVAHI_WATCH_IN);
    kPoll->watch_update(watch, AVAHI_WATCH_IN);
    EXPECT_THAT(notifiers(watch), ElementsAre(QSocketNotifier::Read, QSocketNotifier::Read));
    kPoll->watch_free(watch);
}

TEST_P(AvahiWatchOnGlib, WithTwoReadNotifiersCallsBackOnceForEach)
{
    AvahiWatch *watch = newWatch(AVAHI_WATCH_IN);
    kPoll->watch_update(watch, AVAHI_WATCH_IN);
    m_observer.action = [this](AvahiWatch *) { m_ends.drain(); };
    m_ends.makeReadable();
    ASSERT_TRUE(waitForCalls(2));
    runIdle();
    const Call call{watch, m_ends.fd(), AVAHI_WATCH_IN, AVAHI_WATCH_IN};
    EXPECT_THAT(m_observer.calls, ElementsAre(call, call));
    kPoll->watch_free(watch);
}

TEST_P(AvahiWatchOnGlib, UpdatedFromInToInToNothingKeepsTheOlderNotifier)
{
    AvahiWatch *watch = newWatch(AVAHI_WATCH_IN);
    const QPointer<QSocketNotifier> older = watch->findChild<QSocketNotifier *>();
    kPoll->watch_update(watch, AVAHI_WATCH_IN);
    kPoll->watch_update(watch, kNothing);
    EXPECT_THAT(watch->findChildren<QSocketNotifier *>(), ElementsAre(older.data()));
    m_observer.action = [this](AvahiWatch *) { m_ends.drain(); };
    m_ends.makeReadable();
    ASSERT_TRUE(waitForCalls(1));
    runIdle();
    EXPECT_EQ(m_observer.calls.size(), 1U);
    kPoll->watch_free(watch);
    EXPECT_TRUE(older.isNull());
}

TEST_P(AvahiWatchOnQt, UpdatedInsideItsCallbackWatchesTheNewEvents)
{
    AvahiWatch *watch = newWatch(AVAHI_WATCH_IN);
    m_observer.action = [this](AvahiWatch *self) {
        kPoll->watch_update(self, m_observer.calls.size() == 1 ? AVAHI_WATCH_OUT : kNothing);
    };
    m_ends.makeReadable();
    ASSERT_TRUE(waitForCalls(2));
    runIdle();
    EXPECT_EQ(m_observer.calls.size(), 2U);
    EXPECT_EQ(kPoll->watch_get_events(watch), 0);
    kPoll->watch_free(watch);
}

TEST_P(AvahiWatchOnQt, FreedDeletesItsNotifiers)
{
    AvahiWatch *watch = newWatch(kBoth);
    const QPointer<AvahiWatch> object(watch);
    const QPointer<QSocketNotifier> notifier = watch->findChild<QSocketNotifier *>();
    m_ends.makeReadable();
    kPoll->watch_free(watch);
    EXPECT_TRUE(object.isNull());
    EXPECT_TRUE(notifier.isNull());
    runIdle();
    EXPECT_THAT(m_observer.calls, IsEmpty());
}

TEST_P(AvahiWatchOnQt, MayBeFreedInsideItsCallback)
{
    for (const AvahiWatchEvent events : {AVAHI_WATCH_IN, AVAHI_WATCH_OUT, kBoth}) {
        m_observer.calls.clear();
        m_observer.action = kPoll->watch_free;
        const QPointer<AvahiWatch> watch(newWatch(events));
        m_ends.makeReadable();
        ASSERT_TRUE(waitForCalls(1));
        EXPECT_TRUE(watch.isNull());
        runIdle();
        EXPECT_EQ(m_observer.calls.size(), 1U);
    }
}

TEST_P(AvahiWatchOnQt, FreedInsideItsCallbackDoesNotRunForTheSecondNotifier)
{
    AvahiWatch *watch = newWatch(AVAHI_WATCH_IN);
    kPoll->watch_update(watch, AVAHI_WATCH_IN);
    m_observer.action = kPoll->watch_free;
    m_ends.makeReadable();
    ASSERT_TRUE(waitForCalls(1));
    runIdle();
    EXPECT_EQ(m_observer.calls.size(), 1U);
}

TEST_P(AvahiWatchOnQt, FreeingNullDoesNothing)
{
    kPoll->watch_free(nullptr);
    runIdle();
    EXPECT_THAT(m_observer.calls, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Both, AvahiWatchOnQt, testing::Values(Dispatcher::Glib, Dispatcher::Poll),
                         dispatcherName);
INSTANTIATE_TEST_SUITE_P(One, AvahiWatchOnGlib, testing::Values(Dispatcher::Glib), dispatcherName);

} // namespace
