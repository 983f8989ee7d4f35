#include "live_mdns.h"
#include "support/avahi_host.h"

#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>

namespace {

using test::AvahiHost;
using test::LiveChild;

const std::string kNamed = "avahi host/service updating to: studio-a\n";
const std::string kEstablished = "Service 'studio-a' successfully established.\n";

int publishOn(const std::string &busAddress)
{
    setenv("DBUS_SYSTEM_BUS_ADDRESS", busAddress.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
    return runMdns({publishAs("studio-a")});
}

TEST(MdnsFailure, WithoutASystemBusTheProcessEnds)
{
    LiveChild device([] { return publishOn("unix:path=/var/none"); });
    EXPECT_EQ(device.WaitForEnd(), 1);
    EXPECT_EQ(device.Err(), kNamed + "Failed to create client: Daemon not running\n");
}

TEST(MdnsFailure, WithoutAvahiDaemonOnTheBusTheProcessEnds)
{
    const test::SystemBus bus("quiet");
    LiveChild device([&bus] { return publishOn(bus.Address()); });
    EXPECT_EQ(device.WaitForEnd(), 1);
    EXPECT_EQ(device.Err(), kNamed + "Failed to create client: Daemon not running\n");
}

TEST(MdnsFailure, WhenAvahiDaemonIsKilledOrStoppedTheProcessEnds)
{
    for (const int signal : {SIGKILL, SIGTERM}) {
        AvahiHost host(AvahiHost::Side::Own, "device");
        LiveChild device = host.Start([] { return runMdns({publishAs("studio-a")}); });
        EXPECT_TRUE(device.WaitForErr(kEstablished));
        host.EndAvahi(signal);
        EXPECT_EQ(device.WaitForEnd(), 1);
        EXPECT_EQ(device.Err(),
                  kNamed + kEstablished + "Client failure: Daemon connection failed\n");
    }
}

TEST(MdnsFailure, WhenTheBusEndsTheProcessEnds)
{
    AvahiHost host(AvahiHost::Side::Own, "device");
    LiveChild device = host.Start([] { return runMdns({publishAs("studio-a")}); });
    EXPECT_TRUE(device.WaitForErr(kEstablished));
    host.EndBus();
    EXPECT_EQ(device.WaitForEnd(), 1);
    EXPECT_EQ(device.Err(), kNamed + kEstablished + "Client failure: Daemon connection failed\n");
}

} // namespace
