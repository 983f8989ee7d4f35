#include "formats/ssdp_protocol.h"
#include "ssdp/ssdp_agent.h"
#include "support/fake_environment.h"
#include "support/records.h"

#include <gtest/gtest.h>
#include <string>

using ssdp::SSDPAgent;

namespace {

constexpr const char *kRequest =
    "GET http://192.0.2.10:80/corvia_12_upnp_ssdp_1.xml HTTP/1.1\r\nHOST:192.0.2.10:1900\r\n\r\n";

// A device that is announced as "before".
struct FormerDocument : testing::Test
{
    FormerDocument()
    {
        agent.SetPath("/var/www/html");
        Open("before");
        agent.UpdateContainers(5000);
    }

    void Open(const std::string &hostName)
    {
        in_addr netmask{};
        netmask.s_addr = htonl(0xFFFFFF00);
        agent.AddInterface("192.0.2.10", "net0", netmask);
        agent.Start();
        SSDPDeviceType service = Device("Corvia 12", "192.0.2.10", hostName);
        agent.AddService(service);
    }

    // Whether a peer's request leads to a document.
    bool IsServed()
    {
        return agent.ParseSSDPPacket(kRequest, test::SocketAddressOf("192.0.2.11", 1900), 0)
            .has_value();
    }

    test::FakeEnvironment environment;
    SSDPAgent agent{environment};
};

} // namespace

TEST_F(FormerDocument, IsNotServedBetweenARenameAndItsAnnouncement)
{
    EXPECT_TRUE(IsServed());
    agent.Leave(true);
    Open("after");
    EXPECT_FALSE(IsServed());
    agent.UpdateContainers(5000);
    EXPECT_TRUE(IsServed());
}

TEST_F(FormerDocument, IsNotSentOnceTheNextOneWaitsForItsAnnouncement)
{
    agent.RemoveService("Corvia 12", "192.0.2.10", 0);
    agent.UpdateContainers(5000);
    const auto wanted =
        agent.ParseSSDPPacket(kRequest, test::SocketAddressOf("192.0.2.11", 1900), 0);
    ASSERT_TRUE(wanted.has_value());
    agent.SendGETResponse(*wanted, {"before", 6}, 0);
    SSDPDeviceType service = Device("Corvia 12", "192.0.2.10", "after");
    agent.AddService(service);
    environment.TakeSent();
    agent.BeginTick(20'000);
    EXPECT_FALSE(agent.SendDue());
    EXPECT_EQ(environment.TakeSent().size(), 0U);
}

TEST_F(FormerDocument, IsServedWhileAnotherDevicesServiceWaits)
{
    SSDPDeviceType other = Device("ZR1", "192.0.2.99", "other");
    agent.AddService(other);
    EXPECT_TRUE(IsServed());
}

TEST_F(FormerDocument, IsServedWhileItsAnnouncedServiceIsAddedAgain)
{
    SSDPDeviceType again = Device("Corvia 12", "192.0.2.10", "before");
    agent.AddService(again);
    EXPECT_TRUE(IsServed());
}
