#include "coordinator.h"
#include "refused_addresses.h"
#include "support/capture.h"

#include <QTest>

using Texts = std::vector<std::string>;
using Addresses = std::map<std::string, std::string>;

namespace {

class PubSub : public test::CoordinatorTest
{
protected:
    // Switches SSDP on and waits until the device is announced.
    static void Announce()
    {
        device->Set(ConfigMap::SsdpEnable, "", true);
        device->Set(ConfigMap::Connected, "", true);
        ASSERT_EQ(device->NextAnnouncement(), "alive");
        ASSERT_NE(device->Peer().ReceiveContaining("M-SEARCH"), "");
        static_cast<void>(device->Signals());
    }

    static void Disable()
    {
        device->Set(ConfigMap::SsdpEnable, "", false);
        static_cast<void>(device->Signals());
        static_cast<void>(device->Received());
    }

    // Gives net0 another address; the configuration service reports it.
    static void Move(const std::string &from, const std::string &to)
    {
        test::OnHost("ip addr add " + to + "/24 dev net0 && ip addr del " + from + "/24 dev net0");
        device->Service().Send(19, "[" + test::Device("Complete", true, to) + "]");
        EXPECT_TRUE(QTest::qWaitFor([&to] { return ConfiguredAddress() == to; }, 20000));
    }

    static std::string ConfiguredAddress()
    {
        SSDPDeviceType service;
        device->PubSub().initService(service);
        return service.ipAddress;
    }

    static Addresses Collect()
    {
        Addresses addresses{{"192.0.2.1", "of a former time"}};
        device->PubSub().collectIPAddresses(addresses);
        return addresses;
    }
};

} // namespace

TEST_F(PubSub, AddressAnnouncesTheServiceAgain)
{
    Announce();
    device->Set(ConfigMap::Address, "", true);
    EXPECT_TRUE(device->IsOpen());
    EXPECT_EQ(device->NextAnnouncement(), "byebye");
    EXPECT_EQ(device->NextAnnouncement(), "alive");
    EXPECT_EQ(device->Signals(), Texts());
}

TEST_F(PubSub, AddressOpensAClosedEngine)
{
    device->Set(ConfigMap::Address, "", true);
    EXPECT_TRUE(device->IsOpen());
    EXPECT_EQ(device->NextAnnouncement(), "alive");
}

TEST_F(PubSub, AddressIsIgnoredWhileSsdpIsOff)
{
    Disable();
    device->Set(ConfigMap::Address, "", true);
    EXPECT_FALSE(device->IsOpen());
    EXPECT_EQ(device->Received(), Texts());
    EXPECT_EQ(device->Signals(), Texts());
}

TEST_F(PubSub, HostNameAnnouncesTheServiceUnderIt)
{
    Announce();
    device->Set(ConfigMap::HostName, "beta", false);
    EXPECT_EQ(device->Signals(), Texts{"nameChanged beta"});
    EXPECT_TRUE(device->IsOpen());
    EXPECT_EQ(device->NextAnnouncement(), "byebye");
    EXPECT_EQ(device->NextAnnouncement(), "alive");
    EXPECT_TRUE(DocumentNames("beta"));
}

TEST_F(PubSub, TwoHostNamesInATickAnnounceTheLast)
{
    Announce();
    device->Set(ConfigMap::HostName, "beta", false);
    device->Set(ConfigMap::HostName, "gamma", false);
    EXPECT_EQ(device->Signals(), (Texts{"nameChanged beta", "nameChanged gamma"}));
    std::string last = device->NextAnnouncement();
    while (!DocumentNames("gamma")) {
        ASSERT_NE(last, "");
        last = device->NextAnnouncement();
    }
    EXPECT_FALSE(DocumentNames("beta"));
}

TEST_F(PubSub, HostNameIsOnlyStoredWhileSsdpIsOff)
{
    Disable();
    device->Set(ConfigMap::HostName, "beta", false);
    EXPECT_FALSE(device->IsOpen());
    EXPECT_EQ(device->Signals(), Texts());
    SSDPDeviceType service;
    device->PubSub().initService(service);
    EXPECT_EQ(service.hostName, "beta");
    // When SSDP is switched on, the name is read from the configuration again.
    Announce();
    EXPECT_TRUE(DocumentNames("alpha"));
}

TEST_F(PubSub, PreparingWithdrawsTheServiceAndClosesTheEngine)
{
    Announce();
    device->Set(ConfigMap::InterfaceSetupState, "Preparing", false);
    EXPECT_FALSE(device->IsOpen());
    EXPECT_EQ(device->Received(), Texts{"byebye"});
    EXPECT_EQ(device->Signals(), Texts());
}

TEST_F(PubSub, PreparingIsIgnoredWhileSsdpIsOff)
{
    Announce();
    Disable();
    device->Set(ConfigMap::InterfaceSetupState, "Preparing", false);
    EXPECT_TRUE(device->IsOpen());
    EXPECT_EQ(device->Received(), Texts());
}

TEST_F(PubSub, CompleteOpensTheEngineAndAnnounces)
{
    device->Set(ConfigMap::InterfaceSetupState, "Complete", false);
    EXPECT_EQ(device->Signals(), Texts{"ipChanged"});
    EXPECT_TRUE(device->IsOpen());
    EXPECT_EQ(device->NextAnnouncement(), "alive");
}

TEST_F(PubSub, PreparingAndCompleteSendOneGoodbyeAndOneAnnouncement)
{
    Announce();
    device->Set(ConfigMap::InterfaceSetupState, "Preparing", false);
    EXPECT_FALSE(device->IsOpen());
    device->Set(ConfigMap::InterfaceSetupState, "Complete", false);
    EXPECT_EQ(device->Signals(), Texts{"ipChanged"});
    EXPECT_EQ(device->NextAnnouncement(), "byebye");
    EXPECT_EQ(device->NextAnnouncement(), "alive");
}

TEST_F(PubSub, CompleteOpensTheEngineWithoutAnnouncementWhileSsdpIsOff)
{
    Disable();
    device->Set(ConfigMap::InterfaceSetupState, "Complete", false);
    EXPECT_EQ(device->Signals(), Texts{"ipChanged"});
    EXPECT_TRUE(device->IsOpen());
    device->AwaitPass(); // the pass would announce a queued service
    test::PeerSocket asker;
    asker.SendTo("gh", test::kOwnAddress, 49821);
    EXPECT_EQ(asker.Receive(), "HostList");
    device->Set(ConfigMap::SsdpEnable, "", true); // so that Reset can close the engine
}

TEST_F(PubSub, OtherStatesAreIgnored)
{
    for (const char *state : {"Idle", "Failed", "", "preparing", "COMPLETE", "Complete "}) {
        device->Set(ConfigMap::InterfaceSetupState, state, false);
        EXPECT_FALSE(device->IsOpen()) << state;
    }
    Announce();
    for (const char *state : {"Idle", "Failed", "", "preparing", "COMPLETE", "Complete "}) {
        device->Set(ConfigMap::InterfaceSetupState, state, false);
        EXPECT_TRUE(device->IsOpen()) << state;
    }
    EXPECT_EQ(device->Received(), Texts());
    EXPECT_EQ(device->Signals(), Texts());
}

TEST_F(PubSub, SwitchingOnAnnouncesWhenTheEngineIsOpened)
{
    Disable();
    device->Set(ConfigMap::SsdpEnable, "", true);
    EXPECT_EQ(device->Signals(), Texts{"enableHost true"});
    EXPECT_FALSE(device->IsOpen());
    device->Set(ConfigMap::Connected, "", true);
    EXPECT_EQ(device->NextAnnouncement(), "alive");
}

TEST_F(PubSub, SwitchingOnReopensAnEngineThatIsOpenOnAFormerAddress)
{
    test::OnHost("sysctl -qw net.ipv4.conf.net0.promote_secondaries=1");
    Announce();
    Disable();
    Move("192.0.2.10", "192.0.2.11");
    device->Set(ConfigMap::SsdpEnable, "", true);
    EXPECT_EQ(device->Signals(), Texts{"enableHost true"});
    const std::string alive =
        "NTS: ssdp:alive\r\nLOCATION: http://192.0.2.11:80/corvia_12_upnp_ssdp_1.xml\r\n"
        "USN: uuid:65746500-Corvia 12-192.0.2.11-0\r\n";
    EXPECT_NE(device->Peer().ReceiveContaining(alive), "");
    // Again, without a change: the engine is open on the right address.
    const test::Output output = test::Capture([] { device->Set(ConfigMap::SsdpEnable, "", true); });
    EXPECT_EQ(output.out + output.err, "");
    Disable();
    Move("192.0.2.11", "192.0.2.10");
}

TEST_F(PubSub, SwitchingOnLeavesTheEngineOpenOnTheConfiguredAddress)
{
    Announce();
    Disable();
    const test::Output output = test::Capture([] { device->Set(ConfigMap::SsdpEnable, "", true); });
    EXPECT_EQ(output.out + output.err, "");
    EXPECT_TRUE(device->IsOpen());
}

TEST_F(PubSub, SwitchingOffLeavesTheEngineOpen)
{
    Announce();
    device->Set(ConfigMap::SsdpEnable, "", false);
    EXPECT_EQ(device->Signals(), Texts{"enableHost false"});
    EXPECT_TRUE(device->IsOpen());
}

TEST_F(PubSub, ConnectedOpensTheEngineWithoutAnnouncement)
{
    device->Set(ConfigMap::Connected, "", true);
    EXPECT_TRUE(device->IsOpen());
    device->AwaitPass(); // the pass would announce a queued service
    test::PeerSocket asker;
    asker.SendTo("gh", test::kOwnAddress, 49821);
    EXPECT_EQ(asker.Receive(), "HostList");
    EXPECT_EQ(device->Signals(), Texts());
}

TEST_F(PubSub, ConnectedIsIgnoredByAnOpenEngine)
{
    Announce();
    const test::Output output = test::Capture([] { device->Set(ConfigMap::Connected, "", true); });
    EXPECT_EQ(output.out + output.err, "");
    EXPECT_EQ(device->Received(), Texts());
}

TEST_F(PubSub, DisconnectedClosesTheEngineWithoutGoodbye)
{
    Announce();
    device->Set(ConfigMap::Connected, "", false);
    EXPECT_FALSE(device->IsOpen());
    EXPECT_EQ(device->Received(), Texts());
    device->Set(ConfigMap::Connected, "", false);
    EXPECT_EQ(device->Received(), Texts());
    EXPECT_EQ(device->Signals(), Texts());
}

TEST_F(PubSub, ConnectionIsIgnoredWhileSsdpIsOff)
{
    Disable();
    device->Set(ConfigMap::Connected, "", true);
    EXPECT_FALSE(device->IsOpen());
    Announce();
    Disable();
    device->Set(ConfigMap::Connected, "", false);
    EXPECT_TRUE(device->IsOpen());
}

TEST_F(PubSub, OtherParametersAreIgnored)
{
    device->Set(static_cast<ConfigMap::ParamId>(5), "Complete", true);
    device->Set(static_cast<ConfigMap::ParamId>(7), "Complete", true);
    EXPECT_FALSE(device->IsOpen());
    EXPECT_EQ(device->Signals(), Texts());
}

TEST_F(PubSub, OwnServiceIsFilledFromIdentityAndConfiguration)
{
    device->Set(ConfigMap::HostName, "beta", false);
    SSDPDeviceType service;
    device->PubSub().initService(service);
    EXPECT_EQ(service.productName, "Corvia 12");
    EXPECT_EQ(service.modelName, "Corvia 12");
    EXPECT_EQ(service.modelNumber, "0x10650001");
    EXPECT_EQ(service.modelDescription, "HD recorder");
    EXPECT_EQ(service.serialNumber, "1HE000000"); // the default without a device tree
    EXPECT_EQ(service.ipAddress, "192.0.2.10");
    EXPECT_EQ(service.hostName, "beta");
    EXPECT_EQ(service.instance, "0");
    EXPECT_EQ(service.boardID, "0x10650001");
    EXPECT_EQ(service.notificationType, "upnp:rootdevice");
    EXPECT_EQ(service.urlScheme, "http://");
    EXPECT_EQ(service.reserved + service.usn + service.maxAge + service.location +
                  service.descriptionFileName + service.server,
              "");
}

TEST_F(PubSub, CollectsTheAddressOfNet0Only)
{
    test::OnHost("ip link add other0 type veth peer name other1 && "
                 "ip addr add 192.0.2.129/30 dev other0 && ip link set other0 up");
    EXPECT_EQ(Collect(), (Addresses{{"192.0.2.10", "net0"}}));
    test::OnHost("ip link del other0");
}

TEST_F(PubSub, CollectsAgainWhenTheSystemDidNotReportItsAddresses)
{
    test::gRefusals = 1;
    EXPECT_EQ(Collect(), (Addresses{{"192.0.2.10", "net0"}}));
    EXPECT_EQ(test::gRefusals, 0);
}

TEST_F(PubSub, CollectsSeveralAddressesOfNet0WhichTheEngineRefuses)
{
    test::OnHost("ip addr add 192.0.2.11/24 dev net0");
    EXPECT_EQ(Collect(), (Addresses{{"192.0.2.10", "net0"}, {"192.0.2.11", "net0"}}));
    const test::Output output = test::Capture([] { device->Set(ConfigMap::Connected, "", true); });
    EXPECT_EQ(output.err, "Open: The IP Interface container must have one, and only one member\n"
                          "since we do not support multihomed SSDP at this time.\n");
    EXPECT_FALSE(device->IsOpen());
    test::OnHost("ip addr del 192.0.2.11/24 dev net0");
}

TEST_F(PubSub, CollectsNoAddressWithoutNet0WhichTheEngineRefuses)
{
    test::OnHost("ip link set net0 down && ip link set net0 name lan0 && ip link set lan0 up");
    const test::Output output =
        test::Capture([] { device->Set(ConfigMap::InterfaceSetupState, "Complete", false); });
    EXPECT_EQ(output.err, "Open: The IP Interface container is empty\n");
    EXPECT_FALSE(device->IsOpen());
    EXPECT_EQ(device->Signals(), Texts{"ipChanged"});
    test::OnHost("ip link set lan0 down && ip link set lan0 name net0 && ip link set net0 up");
    device->Set(ConfigMap::Connected, "", true);
    EXPECT_TRUE(device->IsOpen());
}
