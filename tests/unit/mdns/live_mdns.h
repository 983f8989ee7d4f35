#pragma once

#include "mdns/mdns.h"
#include "support/live_child.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <functional>
#include <unistd.h>
#include <vector>

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
// libdbus takes two of its locks in either order when a connection is lost. This cannot
// cause a deadlock here, because only one thread uses Avahi's connection.
extern "C" const char *__tsan_default_suppressions()
{
    return "deadlock:libdbus-1.so\n";
}
#endif
#endif

using Steps = std::vector<std::function<void(Mdns &)>>;

// Runs the publisher on the Qt event loop, as the daemon does, in a child process (see
// support/live_child.h). Runs the first step at once, and one more for each byte of its
// input; ends the event loop at the end of the input. Returns the process's exit status.
inline int runMdns(const Steps &steps)
{
    int argc = 1;
    char name[] = "test";
    char *argv[] = {name, nullptr};
    QCoreApplication application(argc, argv);
    std::size_t next = 0;
    const auto doNext = [&] { steps.at(next++)(*Mdns::getInstance()); };
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
        char byte = 0;
        if (read(STDIN_FILENO, &byte, 1) == 1) {
            doNext();
        } else {
            QCoreApplication::quit();
        }
    });
    doNext();
    return QCoreApplication::exec();
}

inline std::function<void(Mdns &)> publishAs(const std::string &hostName)
{
    return [hostName](Mdns &mdns) {
        mdns.init("0042", "Corvia 12", hostName.c_str());
        mdns.publishMdnsEntry("_http._tcp", 80,
                              {QStringLiteral("txtvers=1"), QStringLiteral("path=/")});
    };
}

inline std::function<void(Mdns &)> rename(const QString &hostName)
{
    return [hostName](Mdns &mdns) { mdns.nameChanged(hostName); };
}
