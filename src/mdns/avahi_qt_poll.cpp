#include "mdns/avahi_qt_poll.h"

#include "mdns/avahi_timeout.h"
#include "mdns/avahi_watch.h"

namespace {

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
