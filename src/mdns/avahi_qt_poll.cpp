#include "mdns/avahi_qt_poll.h"

#include <QPointer>
#include <algorithm>
#include <avahi-common/timeval.h>
#include <limits>

namespace {

// The delay until a deadline, in milliseconds. ageUs is the time since the deadline in
// microseconds, negative for a deadline in the future.
int delayMs(AvahiUsec ageUs)
{
    constexpr AvahiUsec longest = std::numeric_limits<int>::max();
    return ageUs > 999 ? 0 : static_cast<int>(std::min(-(ageUs / 1000), longest));
}

AvahiWatch *q_watch_new(const AvahiPoll * /*api*/, int fd, AvahiWatchEvent events,
                        AvahiWatchCallback callback, void *userdata)
{
    return new AvahiWatch(fd, events, callback, userdata);
}

void q_watch_update(AvahiWatch *watch, AvahiWatchEvent events)
{
    watch->setWatchedEvents(events);
}

AvahiWatchEvent q_watch_get_events(AvahiWatch *watch)
{
    return watch->reportedEvent();
}

void q_watch_free(AvahiWatch *watch)
{
    delete watch;
}

AvahiTimeout *q_timeout_new(const AvahiPoll * /*api*/, const timeval *deadline,
                            AvahiTimeoutCallback callback, void *userdata)
{
    return new AvahiTimeout(deadline, callback, userdata);
}

void q_timeout_update(AvahiTimeout *timeout, const timeval *deadline)
{
    timeout->update(deadline);
}

void q_timeout_free(AvahiTimeout *timeout)
{
    delete timeout;
}

const AvahiPoll kPoll = {nullptr,      q_watch_new,   q_watch_update,   q_watch_get_events,
                         q_watch_free, q_timeout_new, q_timeout_update, q_timeout_free};

} // namespace

const AvahiPoll *avahi_qt_poll_get()
{
    return &kPoll;
}

AvahiWatch::AvahiWatch(int fd, AvahiWatchEvent events, AvahiWatchCallback callback, void *userdata)
    : m_callback(callback), m_fd(fd), m_userdata(userdata)
{
    setWatchedEvents(events);
}

void AvahiWatch::setWatchedEvents(AvahiWatchEvent events)
{
    // Qt allows a notifier to be deleted while its activated() is being emitted.
    if ((events & AVAHI_WATCH_IN) == 0) {
        delete m_in;
        m_in = nullptr;
    }
    if ((events & AVAHI_WATCH_OUT) == 0) {
        delete m_out;
        m_out = nullptr;
    }
    if ((events & AVAHI_WATCH_IN) != 0) {
        m_in = addNotifier(QSocketNotifier::Read, SLOT(gotIn()));
    }
    if ((events & AVAHI_WATCH_OUT) != 0) {
        m_out = addNotifier(QSocketNotifier::Write, SLOT(gotOut()));
    }
}

AvahiWatchEvent AvahiWatch::reportedEvent() const
{
    return m_incallback ? m_lastEvent : AvahiWatchEvent{};
}

void AvahiWatch::gotIn()
{
    report();
}

void AvahiWatch::gotOut()
{
    report();
}

// A writable descriptor is deliberately reported as AVAHI_WATCH_IN, too: the Avahi client
// writes inside its own blocking calls and does not wait for room.
void AvahiWatch::report()
{
    const QPointer<AvahiWatch> alive(this);
    m_lastEvent = AVAHI_WATCH_IN;
    m_incallback = true;
    m_callback(this, m_fd, AVAHI_WATCH_IN, m_userdata);
    if (alive) { // Avahi may free the watch inside its callback
        m_incallback = false;
    }
}

QSocketNotifier *AvahiWatch::addNotifier(QSocketNotifier::Type type, const char *slot)
{
    auto *notifier = new QSocketNotifier(m_fd, type, this);
    connect(notifier, SIGNAL(activated(int)), this, slot);
    return notifier;
}

AvahiTimeout::AvahiTimeout(const timeval *deadline, AvahiTimeoutCallback callback, void *userdata)
    : m_callback(callback), m_userdata(userdata)
{
    connect(&m_timer, SIGNAL(timeout()), this, SLOT(timeout()));
    m_timer.setSingleShot(true);
    update(deadline);
}

void AvahiTimeout::update(const timeval *deadline)
{
    m_timer.stop();
    if (deadline != nullptr) {
        m_timer.start(delayMs(avahi_age(deadline)));
    }
}

void AvahiTimeout::timeout()
{
    m_callback(this, m_userdata); // the last statement, because it may free this object
}

// Compiled here, not with the moc output of the other classes: mdns_no_poll_test replaces
// avahi_qt_poll_get(), so its linker must not need this object file.
#include "moc_avahi_qt_poll.cpp" // NOLINT(bugprone-suspicious-include): usual with Qt
