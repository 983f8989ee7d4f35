#pragma once

#include "live_mdns.h"
#include "support/avahi_host.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>

// A device that publishes, and a peer that browses, each with its own avahi-daemon.
// All tests of a program share the daemons, so each test uses different instance names.
class TwoDevices : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        s_device = std::make_unique<test::AvahiHost>(test::AvahiHost::Side::Own, "device");
        s_peer = std::make_unique<test::AvahiHost>(test::AvahiHost::Side::Peer, "peer");
    }
    static void TearDownTestSuite()
    {
        s_device.reset();
        s_peer.reset();
    }

    static test::LiveChild device(const Steps &steps)
    {
        return s_device->Start([&steps] { return runMdns(steps); });
    }
    // The services that the peer sees, as the lines that seen() and gone() compose.
    static test::LiveChild browser(const std::string &type = "_http._tcp")
    {
        return s_peer->Start({"avahi-browse", "--resolve", "--parsable", "--no-db-lookup", type});
    }
    // Browses repeatedly until the peer sees a service; false if it never does. For changes
    // that a running avahi-browse does not report.
    static bool seesEventually(const std::string &line)
    {
        for (int attempt = 0; attempt < 20; ++attempt) {
            test::LiveChild once = s_peer->Start({"avahi-browse", "--resolve", "--parsable",
                                                  "--no-db-lookup", "--terminate", "_http._tcp"});
            if (once.WaitForEnd() == 0 && once.Out().find(line) != std::string::npos) {
                return true;
            }
        }
        return false;
    }
    static std::string seen(const std::string &name,
                            const std::string &txt = R"("path=/" "txtvers=1")",
                            const std::string &host = "device")
    {
        return "=;peer0;IPv4;" + name + ";_http._tcp;local;" + host + ".local;192.0.2.10;80;" +
               txt + "\n";
    }
    static std::string gone(const std::string &name)
    {
        return "-;peer0;IPv4;" + name + ";_http._tcp;local\n";
    }

    inline static std::unique_ptr<test::AvahiHost> s_device;
    inline static std::unique_ptr<test::AvahiHost> s_peer;
};

// Ends a device normally and returns its exit status.
inline int end(test::LiveChild &device)
{
    device.CloseInput();
    return device.WaitForEnd();
}

// The publisher's lines on standard error.
inline std::string named(const std::string &name)
{
    return "avahi host/service updating to: " + name + "\n";
}

inline std::string established(const std::string &name)
{
    return "Service '" + name + "' successfully established.\n";
}

inline std::string renamed(const std::string &name)
{
    return "Service name collision, renaming service to '" + name + "'\n";
}
