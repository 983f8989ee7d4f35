#pragma once

#include <avahi-common/watch.h>

// The table of functions through which the Avahi client library asks for file
// descriptor watches and time-outs, served by the Qt event loop: hand it to
// avahi_client_new, and every Avahi callback runs on the thread that runs the
// loop. That thread alone may use the table, and a QCoreApplication must exist.
//
// The table is constant, lives for ever and is never null; asking for it has no
// side effects.
[[nodiscard]] const AvahiPoll *avahi_qt_poll_get();
