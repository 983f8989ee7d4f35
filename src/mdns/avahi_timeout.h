#pragma once

#include <QObject>
#include <QTimer>
#include <avahi-common/watch.h>
#include <sys/time.h>

// AvahiTimeout is one point in time that Avahi waits for, made and freed by
// Avahi through the poll table (avahi_qt_poll.h). It belongs to the thread that
// runs the Qt event loop. It calls back once for each deadline; Avahi may
// update or free it at any time, from inside its own callback too. (A struct,
// because that is how Avahi declares it.)
struct AvahiTimeout : public QObject
{
    Q_OBJECT

public:
    // Waits for a deadline as update() does; callback gets userdata unchanged.
    AvahiTimeout(const timeval *deadline, AvahiTimeoutCallback callback, void *userdata);

    // Forgets the deadline waited for, and waits for this one: wall-clock time,
    // null for none. The delay is cut to whole milliseconds, so that a deadline
    // past or less than a millisecond ahead is met on the next pass of the event
    // loop; one further ahead than a QTimer can wait (24 days) is met then.
    void update(const timeval *deadline);

private Q_SLOTS:
    void timeout();

private: // NOLINT(readability-redundant-access-specifiers): the slots end here
    QTimer m_timer{this};
    AvahiTimeoutCallback m_callback;
    void *m_userdata;
};
