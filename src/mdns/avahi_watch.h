#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <avahi-common/watch.h>

// AvahiWatch is one file descriptor that Avahi waits on, made and freed by Avahi
// through the poll table (avahi_qt_poll.h). It belongs to the thread that runs
// the Qt event loop. Avahi may update or free it at any time, from inside its
// own callback too. (A struct, because that is how Avahi declares it.)
struct AvahiWatch : public QObject
{
    Q_OBJECT

public:
    // Watches fd for the given events from now on. The descriptor stays the
    // caller's and must outlive the watch; callback gets userdata unchanged.
    AvahiWatch(int fd, AvahiWatchEvent events, AvahiWatchCallback callback, void *userdata);

    // Changes what is waited for: any of AVAHI_WATCH_IN and AVAHI_WATCH_OUT
    // joined, or 0 for nothing; other bits are passed over. Asking again for a
    // direction that is watched already adds a second notifier, so that a ready
    // descriptor runs the callback once for each; only the newest of a
    // direction ends with the next update that leaves the direction out, older
    // ones with the watch.
    void setWatchedEvents(AvahiWatchEvent events);

    // The event that the running callback was called for, 0 outside of it.
    [[nodiscard]] AvahiWatchEvent reportedEvent() const;

private Q_SLOTS:
    void gotIn();
    void gotOut();

private: // NOLINT(readability-redundant-access-specifiers): the slots end here
    void report();
    QSocketNotifier *addNotifier(QSocketNotifier::Type type, const char *slot);

    QSocketNotifier *m_in = nullptr;  // newest read notifier, a child of the watch
    QSocketNotifier *m_out = nullptr; // newest write notifier, likewise
    AvahiWatchCallback m_callback;
    AvahiWatchEvent m_lastEvent = {};
    int m_fd;
    void *m_userdata;
    bool m_incallback = false;
};
