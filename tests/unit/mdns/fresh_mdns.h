#pragma once

#include "fake_avahi.h"
#include "mdns/mdns.h"
#include "support/child.h"

#include <cstdio>
#include <functional>
#include <gtest/gtest.h>
#include <string>

inline const char *const kHttp = "_http._tcp";
inline const QStringList kTxt = {QStringLiteral("txtvers=1"), QStringLiteral("path=/")};
inline const char *const kAddHttp = "is_empty\n"
                                    "add 'studio-a' _http._tcp 80 \"txtvers=1\" \"path=/\"\n"
                                    "commit\n";

// Runs a scenario in a new process, because the publisher's state lasts as long as the
// process. The result's `out` has the calls of Avahi's functions.
inline test::Output inFreshProcess(const std::function<void()> &scenario)
{
    return test::InChild([&scenario] {
        scenario();
        std::fputs(fake::state.calls.c_str(), stdout);
    });
}

inline Mdns &initialised(const char *hostName = "studio-a")
{
    Mdns::getInstance()->init("0042", "Corvia 12", hostName);
    return *Mdns::getInstance();
}

inline Mdns &published()
{
    Mdns &mdns = initialised();
    mdns.publishMdnsEntry(kHttp, 80, kTxt);
    return mdns;
}

// Like inFreshProcess, after a service has been published. The output of that publication
// is not in the result.
inline test::Output afterPublishing(const std::function<void(Mdns &)> &scenario)
{
    const std::string before = "avahi host/service updating to: studio-a\n";
    test::Output output = inFreshProcess([&scenario] {
        Mdns &mdns = published();
        fake::state.calls.clear();
        scenario(mdns);
    });
    EXPECT_EQ(output.err.substr(0, before.size()), before);
    output.err.erase(0, before.size());
    return output;
}
