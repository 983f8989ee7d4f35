#include "mdns/avahi_timeout.h"

#include <algorithm>
#include <avahi-common/timeval.h>
#include <limits>

namespace {

// Milliseconds to wait for a deadline of that age in microseconds, which is
// negative for a deadline ahead.
int delayMs(AvahiUsec age)
{
    constexpr AvahiUsec longest = std::numeric_limits<int>::max();
    return age > 999 ? 0 : static_cast<int>(std::min(-(age / 1000), longest));
}

} // namespace

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
    m_callback(this, m_userdata); // may have freed this object: nothing after it
}
