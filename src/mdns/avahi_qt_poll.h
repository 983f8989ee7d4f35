#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <QTimer>
#include <avahi-common/watch.h>
#include <sys/time.h>

// The Avahi client library on the Qt event loop. Avahi asks for watches on descriptors and
// for time-outs through a table of functions. These watches and time-outs use the event loop,
// so every callback of Avahi runs on the thread that runs the loop. Only that thread may use
// the table and the objects. No operation fails, except for lack of memory.

// The table for avahi_client_new. It is constant, is never null, and stays valid until the
// process ends. REQUIRES: a QCoreApplication.
[[nodiscard]] const AvahiPoll *avahi_qt_poll_get();

// AvahiWatch is one file descriptor on which Avahi waits. Avahi makes and frees it through
// the table, and may update or free it at any time, also inside its callback. (A struct,
// because Avahi declares it as one.)
struct AvahiWatch : public QObject
{
    Q_OBJECT

public:
    // Watches fd for the events. The descriptor still belongs to the caller and must stay
    // open as long as the watch exists. callback gets userdata unchanged.
    AvahiWatch(int fd, AvahiWatchEvent events, AvahiWatchCallback callback, void *userdata);

    // Sets the events to wait for: AVAHI_WATCH_IN, AVAHI_WATCH_OUT, both, or 0 for none;
    // other bits are ignored. If a direction is watched already, asking for it again adds
    // another notifier, and a ready descriptor then runs the callback once for each
    // notifier. The next update without the direction ends only its newest notifier; the
    // others end with the watch.
    void setWatchedEvents(AvahiWatchEvent events);

    // The event of the running callback, 0 outside of it.
    [[nodiscard]] AvahiWatchEvent reportedEvent() const;

private Q_SLOTS:
    void gotIn();
    void gotOut();

private: // NOLINT(readability-redundant-access-specifiers): the slots end here
    void report();
    QSocketNotifier *addNotifier(QSocketNotifier::Type type, const char *slot);

    QSocketNotifier *m_in = nullptr;  // the newest read notifier, a child of the watch
    QSocketNotifier *m_out = nullptr; // the newest write notifier, a child of the watch
    AvahiWatchCallback m_callback;
    AvahiWatchEvent m_lastEvent = {};
    int m_fd;
    void *m_userdata;
    bool m_incallback = false;
};

// AvahiTimeout is one time for which Avahi waits. Avahi makes and frees it through the
// table, and may update or free it at any time, also inside its callback. It calls back
// once for each deadline.
struct AvahiTimeout : public QObject
{
    Q_OBJECT

public:
    // Waits for a deadline, as update() does. callback gets userdata unchanged.
    AvahiTimeout(const timeval *deadline, AvahiTimeoutCallback callback, void *userdata);

    // Replaces the deadline: a time of the wall clock, or null for none. The delay is
    // rounded down to whole milliseconds. A deadline that is past, or less than 1 ms ahead,
    // is handled in the next pass of the event loop. A deadline that is more than 24.8 days
    // ahead is handled after 24.8 days, the longest wait of a QTimer.
    void update(const timeval *deadline);

private Q_SLOTS:
    void timeout();

private: // NOLINT(readability-redundant-access-specifiers): the slots end here
    QTimer m_timer{this};
    AvahiTimeoutCallback m_callback;
    void *m_userdata;
};
