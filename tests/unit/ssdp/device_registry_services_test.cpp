#include "registry_fixture.h"

// Own services: they are queued, published, added again, removed.

using testing::ElementsAre;

namespace {

class RegistryServices : public RegistryFixture
{
};

const char *const kOwnUSN = "uuid:65746500-Corvia 12-192.0.2.10-0";

} // namespace

TEST_F(RegistryServices, AddServiceCompletesTheUSNClearsThePeriodAndSendsNothing)
{
    SSDPDeviceType service = Own();
    service.usn = "something else";
    service.timerPeriod = 5;
    registry.AddService(service);

    SSDPDeviceType expected = Own();
    expected.usn = kOwnUSN;
    EXPECT_EQ(FieldsExceptFlag(service), FieldsExceptFlag(expected));
    EXPECT_EQ(TakeCalls(), Calls{});
    EXPECT_TRUE(registry.HostList().empty());
    EXPECT_TRUE(registry.NodeList().empty());
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryServices, NextPassWritesTheDocumentAndAnnouncesTheServiceOnce)
{
    EXPECT_THAT(AddNow(Own()), ElementsAre("document /var/www/html/corvia_12_upnp_ssdp_1.xml",
                                           "alive uuid:65746500-Corvia 12-192.0.2.10-0"));
    const SSDPDeviceType expected = Published(Own(), 1);
    ASSERT_NE(Host(kOwnUSN), nullptr);
    ASSERT_NE(Node(kOwnUSN), nullptr);
    EXPECT_EQ(FieldsExceptFlag(*Host(kOwnUSN)), FieldsExceptFlag(expected));
    EXPECT_EQ(FieldsExceptFlag(*Node(kOwnUSN)), FieldsExceptFlag(expected));
    EXPECT_EQ(lastMulticast, formats::ComposeAlive(expected));
    EXPECT_TRUE(registry.Changed());
    EXPECT_EQ(Pass(0), Calls{});
}

TEST_F(RegistryServices, ServiceAddedTwiceBeforeAPassIsAnnouncedOnceWithTheLatestFields)
{
    SSDPDeviceType older = Own();
    older.serialNumber = "1";
    SSDPDeviceType newer = Own();
    newer.hostName = "studio-z";
    newer.serialNumber = "";
    Add(older);
    EXPECT_THAT(AddNow(newer), ElementsAre("document /var/www/html/corvia_12_upnp_ssdp_1.xml",
                                           "alive uuid:65746500-Corvia 12-192.0.2.10-0"));
    EXPECT_EQ(Host(kOwnUSN)->hostName, "studio-z");
    EXPECT_EQ(Host(kOwnUSN)->serialNumber, "");
    EXPECT_EQ(registry.HostList().size(), 1U);
}

TEST_F(RegistryServices, AdditionsAreAppliedInOrderOfUSN)
{
    SSDPDeviceType second = Own();
    second.instance = "1";
    Add(second);
    EXPECT_THAT(AddNow(Own()), ElementsAre("document /var/www/html/corvia_12_upnp_ssdp_1.xml",
                                           "alive uuid:65746500-Corvia 12-192.0.2.10-0",
                                           "document /var/www/html/corvia_12_upnp_ssdp_2.xml",
                                           "alive uuid:65746500-Corvia 12-192.0.2.10-1"));
}

TEST_F(RegistryServices, DocumentIsWrittenForEachAddressOfThisDevice)
{
    link.AddInterface("192.0.2.1", "net1", {});
    EXPECT_THAT(AddNow(Own()), ElementsAre("document /var/www/html/corvia_12_upnp_ssdp_1.xml",
                                           "document /var/www/html/corvia_12_upnp_ssdp_2.xml",
                                           "alive uuid:65746500-Corvia 12-192.0.2.10-0"));
    EXPECT_EQ(Host(kOwnUSN)->location, "http://192.0.2.10:80/corvia_12_upnp_ssdp_2.xml");
}

TEST_F(RegistryServices, WritingADocumentCompletesTheRecord)
{
    SSDPDeviceType service = Own();
    service.usn = "something else";
    ASSERT_TRUE(parts.documents.GenerateDeviceDescriptionFile("192.0.2.1", service));
    EXPECT_EQ(service.usn, kOwnUSN);
    EXPECT_EQ(service.location, "http://192.0.2.1:80/corvia_12_upnp_ssdp_1.xml");
    EXPECT_EQ(service.descriptionFileName, "/var/www/html/corvia_12_upnp_ssdp_1.xml");
    EXPECT_EQ(service.server, "Linux/2.6, UPnP/1.0, SSDP/1.0");
    EXPECT_EQ(service.timerPeriod, 20000U);
    EXPECT_EQ(service.timerCountdown, 20000);
}

TEST_F(RegistryServices, ServiceWithoutDocumentIsReportedAndNotAnnounced)
{
    environment.files.writable = false;
    EXPECT_THAT(AddNow(Own()), ElementsAre("document /var/www/html/corvia_12_upnp_ssdp_1.xml"));
    EXPECT_THAT(environment.TakeFaults(),
                ElementsAre("GenerateDeviceDescriptionFile: Failed to open the SSDP XML file",
                            "UpdateContainers: Unable to generate a description file for "
                            "uuid:65746500-Corvia 12-192.0.2.10-0, Corvia 12"));
    EXPECT_TRUE(registry.HostList().empty());
    EXPECT_TRUE(registry.NodeList().empty());
    EXPECT_FALSE(registry.Changed());

    // The addition was dropped. A new addition succeeds.
    environment.files.writable = true;
    EXPECT_EQ(Pass(0), Calls{});
    EXPECT_EQ(AddNow(Own()).size(), 2U);
}

TEST_F(RegistryServices, NothingIsAnnouncedWithoutAnAddress)
{
    link.ClearInterfaces();
    EXPECT_EQ(AddNow(Own()), Calls{});
    EXPECT_TRUE(registry.HostList().empty());
}

TEST_F(RegistryServices, AddingAnAnnouncedServiceChangesNothing)
{
    AddNow(Own());
    TakeChange();
    SSDPDeviceType renamed = Own();
    renamed.hostName = "studio-z";
    EXPECT_EQ(AddNow(renamed), Calls{});
    EXPECT_EQ(Host(kOwnUSN)->hostName, "studio-a");
    EXPECT_EQ(Node(kOwnUSN)->hostName, "studio-a");
    EXPECT_EQ(Node(kOwnUSN)->repeatCount, 0);
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryServices, RemovalSendsGoodbyeFreesTheNumberAndFlagsAChange)
{
    AddNow(Own());
    TakeChange();
    const SSDPDeviceType announced = *Host(kOwnUSN);
    registry.RemoveService(kOwnUSN);
    EXPECT_EQ(TakeCalls(), Calls{});
    EXPECT_NE(Host(kOwnUSN), nullptr);

    EXPECT_THAT(Pass(0), ElementsAre("byebye uuid:65746500-Corvia 12-192.0.2.10-0",
                                     "return /var/www/html/corvia_12_upnp_ssdp_1.xml"));
    EXPECT_EQ(lastMulticast, formats::ComposeGoodbye(announced));
    EXPECT_TRUE(registry.HostList().empty());
    EXPECT_TRUE(registry.NodeList().empty());
    EXPECT_TRUE(registry.Changed());
    EXPECT_EQ(Pass(5000), Calls{});
}

TEST_F(RegistryServices, RemovalIsAppliedOnce)
{
    AddNow(Own());
    registry.RemoveService(kOwnUSN);
    Pass(0);
    AddNow(Own());
    EXPECT_EQ(Pass(5000), Calls{});
    EXPECT_NE(Host(kOwnUSN), nullptr);
    EXPECT_NE(Node(kOwnUSN), nullptr);
}

TEST_F(RegistryServices, ServiceListedAsForeignIsRefreshedWhenItsAddressBecomesOurs)
{
    link.ClearInterfaces();
    SSDPDeviceType service = Own();
    service.maxAge = "200";
    AddNow(service);
    Pass(100000);
    link.AddInterface("192.0.2.10", "net0", {});
    EXPECT_EQ(AddNow(service), Calls{});
    EXPECT_EQ(Node(kOwnUSN)->timerCountdown, 400000);
    EXPECT_EQ(Host(kOwnUSN), nullptr);
}

TEST_F(RegistryServices, RemovalOfAServiceThatIsNotAnnouncedDoesNothing)
{
    registry.RemoveService(kOwnUSN);
    EXPECT_EQ(Pass(0), Calls{});
    EXPECT_FALSE(registry.Changed());

    // The same holds for a device that is known from the network.
    registry.EnterDescription(Described(Peer()));
    TakeChange();
    registry.RemoveService(Peer().usn);
    registry.RemoveServicesWithPrefix("uuid:65746500");
    EXPECT_EQ(Pass(0), Calls{});
    EXPECT_NE(Node(Peer().usn), nullptr);
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryServices, ServiceRemovedTwiceSendsOneGoodbye)
{
    AddNow(Own());
    registry.RemoveService(kOwnUSN);
    registry.RemoveService(kOwnUSN);
    EXPECT_EQ(Pass(0).size(), 2U);
}

TEST_F(RegistryServices, ServiceRemovedBeforeThePassIsNotAnnounced)
{
    Add(Own());
    registry.RemoveService(kOwnUSN);
    EXPECT_EQ(Pass(0), Calls{});
    EXPECT_TRUE(registry.HostList().empty());
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryServices, ServiceRemovedAndAddedBetweenTwoPassesSendsGoodbyeThenAlive)
{
    AddNow(Own());
    SSDPDeviceType renamed = Own();
    renamed.hostName = "studio-z";
    registry.RemoveService(kOwnUSN);
    EXPECT_THAT(AddNow(renamed), ElementsAre("byebye uuid:65746500-Corvia 12-192.0.2.10-0",
                                             "return /var/www/html/corvia_12_upnp_ssdp_1.xml",
                                             "document /var/www/html/corvia_12_upnp_ssdp_1.xml",
                                             "alive uuid:65746500-Corvia 12-192.0.2.10-0"));
    EXPECT_EQ(Node(kOwnUSN)->hostName, "studio-z");
}

TEST_F(RegistryServices, LastOfTwoNamesBetweenTwoPassesIsAnnounced)
{
    AddNow(Own());
    for (const char *name : {"studio-y", "studio-z"}) {
        SSDPDeviceType renamed = Own();
        renamed.hostName = name;
        registry.RemoveService(kOwnUSN);
        Add(renamed);
    }
    const Calls calls = Pass(0);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "byebye " + Own().usn), 1);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "alive " + Own().usn), 1);
    EXPECT_EQ(Host(Own().usn)->hostName, "studio-z");
}

TEST_F(RegistryServices, AnnouncedServiceAddedAndRemovedBetweenTwoPassesIsRemoved)
{
    AddNow(Own());
    Add(Own());
    registry.RemoveService(kOwnUSN);
    EXPECT_EQ(Pass(0).size(), 2U);
    EXPECT_EQ(Host(kOwnUSN), nullptr);
    EXPECT_EQ(Pass(0), Calls{});
}

TEST_F(RegistryServices, PrefixRemovesEveryInstanceAndAddressOfAProduct)
{
    link.AddInterface("192.0.2.11", "net1", {});
    SSDPDeviceType other = Own();
    other.instance = "7";
    SSDPDeviceType elsewhere = Own();
    elsewhere.ipAddress = "192.0.2.11";
    const SSDPDeviceType plus = Device("Corvia 12 Plus", "192.0.2.10", "studio-a");
    for (const SSDPDeviceType &service : {Own(), other, elsewhere, plus}) {
        Add(service);
    }
    Pass(0);
    ASSERT_EQ(registry.HostList().size(), 4U);

    registry.RemoveServicesWithPrefix("uuid:65746500-Corvia 12");
    Pass(0);
    ASSERT_EQ(registry.HostList().size(), 1U);
    EXPECT_NE(Host(plus.usn), nullptr);
}

TEST_F(RegistryServices, PrefixMayBeAnywhereInTheUSN)
{
    AddNow(Own());
    registry.RemoveServicesWithPrefix("192.0.2.1");
    EXPECT_EQ(Pass(0), Calls{});
    registry.RemoveServicesWithPrefix("192.0.2.10");
    EXPECT_EQ(Pass(0).size(), 2U);
}

TEST_F(RegistryServices, PrefixDropsQueuedAdditionsToo)
{
    Add(Own());
    Add(Device("Corvia 12 Plus", "192.0.2.10", "studio-a"));
    registry.RemoveServicesWithPrefix("uuid:65746500-Corvia 12");
    EXPECT_THAT(Pass(0), ElementsAre("document /var/www/html/corvia_12_plus_upnp_ssdp_1.xml",
                                     "alive uuid:65746500-Corvia 12 Plus-192.0.2.10-0"));
}
