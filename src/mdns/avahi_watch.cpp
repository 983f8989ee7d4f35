#include "mdns/avahi_watch.h"

#include <QPointer>

AvahiWatch::AvahiWatch(int fd, AvahiWatchEvent events, AvahiWatchCallback callback, void *userdata)
    : m_callback(callback), m_fd(fd), m_userdata(userdata)
{
    setWatchedEvents(events);
}

void AvahiWatch::setWatchedEvents(AvahiWatchEvent events)
{
    // A notifier may be deleted while its own activated() is being emitted: Qt
    // looks whether it is still there before it goes on.
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

// A writable descriptor is reported as AVAHI_WATCH_IN as well, deliberately: the
// Avahi client writes inside its own blocking calls, so it never needs to be woken
// in order to write.
void AvahiWatch::report()
{
    const QPointer<AvahiWatch> alive(this);
    m_lastEvent = AVAHI_WATCH_IN;
    m_incallback = true;
    m_callback(this, m_fd, AVAHI_WATCH_IN, m_userdata);
    if (alive) { // Avahi frees watches from inside their callbacks
        m_incallback = false;
    }
}

QSocketNotifier *AvahiWatch::addNotifier(QSocketNotifier::Type type, const char *slot)
{
    auto *notifier = new QSocketNotifier(m_fd, type, this);
    connect(notifier, SIGNAL(activated(int)), this, slot);
    return notifier;
}
