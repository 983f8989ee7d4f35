#include "registry_fixture.h"

// Own services while they are announced, forged datagrams in their name, changes,
// leaving.

using testing::ElementsAre;

namespace {

class RegistryOwn : public RegistryFixture
{
protected:
    RegistryOwn()
    {
        AddNow(Own());
        TakeChange();
    }
};

const char *const kUSN = "uuid:65746500-Corvia 12-192.0.2.10-0";
const char *const kAlive = "alive uuid:65746500-Corvia 12-192.0.2.10-0";

} // namespace

TEST_F(RegistryOwn, IsAnnouncedAgainEachTimeItsCountdownRunsOut)
{
    for (int round = 0; round < 100; ++round) {
        EXPECT_EQ(Pass(5000), Calls{});               // 15000 ms are left
        EXPECT_EQ(Pass(5000), Calls{});               // 10000 ms are left
        EXPECT_THAT(Pass(5000), ElementsAre(kAlive)); // 5000 ms: not more than a pass
        EXPECT_EQ(Node(kUSN)->timerCountdown, 20000);
    }
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryOwn, PassLongerThanTheCountdownAnnouncesOnce)
{
    EXPECT_THAT(Pass(2147483647), ElementsAre(kAlive));
    EXPECT_EQ(Node(kUSN)->timerCountdown, 20000);
}

TEST_F(RegistryOwn, IsAnnouncedWithTheFieldsOfItsRecord)
{
    Pass(20000);
    SSDPDeviceType expected = *Node(kUSN);
    EXPECT_EQ(lastMulticast, formats::ComposeAlive(expected));
    EXPECT_EQ(expected.location, "http://192.0.2.10:80/corvia_12_upnp_ssdp_1.xml");
}

TEST_F(RegistryOwn, IsAnnouncedButUnknownAfterAByebye)
{
    EXPECT_EQ(Byebye(kUSN), Calls{});
    EXPECT_EQ(Node(kUSN), nullptr);
    EXPECT_NE(Host(kUSN), nullptr);
    EXPECT_TRUE(TakeChange());
    // HostList has its own countdown, with the same rules.
    for (int round = 0; round < 10; ++round) {
        EXPECT_EQ(Pass(5000), Calls{});
        EXPECT_EQ(Pass(5000), Calls{});
        EXPECT_THAT(Pass(5000), ElementsAre(kAlive));
    }
    EXPECT_EQ(Node(kUSN), nullptr);
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryOwn, IsKnownAgainWhenAddedAfterAByebye)
{
    Byebye(kUSN);
    TakeChange();
    EXPECT_EQ(AddNow(Own()), Calls{});
    ASSERT_NE(Node(kUSN), nullptr);
    EXPECT_EQ(FieldsExceptFlag(*Node(kUSN)), FieldsExceptFlag(*Host(kUSN)));
    EXPECT_TRUE(registry.Changed());
    EXPECT_THAT(Pass(20000), ElementsAre(kAlive));
}

TEST_F(RegistryOwn, RemovalAfterAByebyeStillSendsGoodbye)
{
    Byebye(kUSN);
    TakeChange();
    registry.RemoveService(kUSN);
    EXPECT_THAT(Pass(0), ElementsAre("byebye uuid:65746500-Corvia 12-192.0.2.10-0",
                                     "return /var/www/html/corvia_12_upnp_ssdp_1.xml"));
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryOwn, ForgedDescriptionStaysUntilTheNextAnnouncement)
{
    SSDPDeviceType forged = Described(Own());
    forged.hostName = "forged";
    registry.EnterDescription(forged);
    EXPECT_EQ(FieldsExceptFlag(*Node(kUSN)), FieldsExceptFlag(forged));
    EXPECT_TRUE(TakeChange());
    EXPECT_EQ(Pass(5000), Calls{});
    EXPECT_EQ(Pass(5000), Calls{});
    EXPECT_THAT(Pass(5000), ElementsAre(kAlive));
    EXPECT_EQ(FieldsExceptFlag(*Node(kUSN)), FieldsExceptFlag(Published(Own(), 1)));
    EXPECT_TRUE(TakeChange());
}

TEST_F(RegistryOwn, RestoringARecordThatIsListedAlikeFlagsNoChange)
{
    SSDPDeviceType alike = Own(); // differs only in fields that the browse list leaves out
    registry.EnterDescription(alike);
    TakeChange();
    EXPECT_THAT(Pass(20000), ElementsAre(kAlive));
    EXPECT_EQ(FieldsExceptFlag(*Node(kUSN)), FieldsExceptFlag(Published(Own(), 1)));
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryOwn, ForgedDescriptionAfterAByebyeMakesNoEntry)
{
    Byebye(kUSN);
    TakeChange();
    registry.EnterDescription(Described(Own()));
    EXPECT_THAT(Pass(20000), ElementsAre(kAlive));
    EXPECT_EQ(Node(kUSN), nullptr);
    EXPECT_FALSE(registry.Changed());
    AddNow(Own());
    EXPECT_EQ(FieldsExceptFlag(*Node(kUSN)), FieldsExceptFlag(Published(Own(), 1)));
}

TEST_F(RegistryOwn, ForgedDatagramsDoNotDelayOrChangeItsAnnouncements)
{
    const std::string announcement = formats::ComposeAlive(*Host(kUSN));
    for (int round = 0; round < 100; ++round) {
        for (const std::int32_t elapsedMs : {5000, 5000, 5000}) {
            Alive(kUSN, 1000000);
            SSDPDeviceType forged = Described(Own());
            forged.notificationType = "forged";
            registry.EnterDescription(forged);
            if (round % 2 == 0) {
                Byebye(kUSN);
            }
            lastMulticast.clear();
            Pass(elapsedMs);
        }
        EXPECT_EQ(lastMulticast, announcement); // sent in the third pass of each round
    }
}

TEST_F(RegistryOwn, DescriptionOfADeviceAtThisDevicesAddressMakesNoEntry)
{
    for (const char *usn : {"uuid:65746500-Lumen-192.0.2.10-0", "-192.0.2.10-", "x-192.0.2.10-y"}) {
        SSDPDeviceType forged = Described(Peer());
        forged.usn = usn;
        registry.EnterDescription(forged);
        EXPECT_EQ(Node(usn), nullptr) << usn;
    }
    EXPECT_FALSE(registry.Changed());
    // A USN names this device only if exactly its address stands between two hyphens.
    for (const char *usn :
         {"uuid:65746500-Lumen-192.0.2.1-0", "uuid:65746500-Lumen-192.0.2.101-0",
          "uuid:65746500-Lumen-1192.0.2.10-0", "uuid:65746500-Lumen-192.0.2.10"}) {
        SSDPDeviceType other = Described(Peer());
        other.usn = usn;
        registry.EnterDescription(other);
        EXPECT_NE(Node(usn), nullptr) << usn;
    }
}

TEST_F(RegistryOwn, ForgedDescriptionBeforeTheFirstPassDoesNotPreventPublication)
{
    RegistryWithParts fresh(environment);
    fresh.registry.EnterDescription(Described(Own()));
    SSDPDeviceType own = Own();
    fresh.registry.AddService(own);
    TakeCalls();
    fresh.registry.UpdateContainers(0);
    EXPECT_EQ(TakeCalls().size(), 2U); // its document and its announcement
}

TEST_F(RegistryOwn, ChangeStaysFlaggedUntilItIsTaken)
{
    formats::SSDPDeviceMap out{{"stale", {}}};
    EXPECT_FALSE(registry.TakeChange(out));
    EXPECT_EQ(out.count("stale"), 1U); // untouched

    registry.EnterDescription(Described(Peer()));
    Pass(1);
    Pass(1);
    EXPECT_TRUE(registry.Changed());
    EXPECT_TRUE(registry.TakeChange(out));
    EXPECT_EQ(out.size(), 2U);
    EXPECT_EQ(FieldsExceptFlag(out.at(kUSN)), FieldsExceptFlag(*Node(kUSN)));
    EXPECT_FALSE(registry.Changed());
    EXPECT_FALSE(registry.TakeChange(out));
}

TEST_F(RegistryOwn, LeavingSendsGoodbyeForEveryAnnouncedServiceAndFreesTheNumbers)
{
    TakeOver(Silent());
    registry.EnterDescription(Described(Peer()));
    TakeCalls();
    registry.Leave(true);
    EXPECT_THAT(TakeCalls(), ElementsAre("byebye uuid:65746500-Corvia 12-192.0.2.10-0",
                                         "return /var/www/html/corvia_12_upnp_ssdp_1.xml",
                                         "byebye uuid:65746500-ZR1-192.0.2.30-0",
                                         "return /var/www/html/zr1_upnp_ssdp_2.xml"));
}

TEST_F(RegistryOwn, LeavingWithoutGoodbyesStillFreesTheNumbers)
{
    TakeCalls();
    registry.Leave(false);
    EXPECT_THAT(TakeCalls(), ElementsAre("return /var/www/html/corvia_12_upnp_ssdp_1.xml"));
}

TEST_F(RegistryOwn, LeavingWithKnownServicesFlagsAChange)
{
    registry.Leave(true);
    EXPECT_TRUE(registry.HostList().empty());
    formats::SSDPDeviceMap out{{"stale", {}}};
    EXPECT_TRUE(registry.TakeChange(out));
    EXPECT_TRUE(out.empty());

    TakeCalls();
    registry.Leave(true);
    EXPECT_EQ(TakeCalls(), Calls{});
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryOwn, LeavingWithoutKnownServicesKeepsAnEarlierChange)
{
    Byebye(kUSN);
    ASSERT_TRUE(registry.NodeList().empty());
    registry.Leave(true);
    EXPECT_TRUE(registry.Changed());
}

TEST_F(RegistryOwn, LeavingDropsQueuedAdditionsAndRemovals)
{
    SSDPDeviceType other = Own();
    other.instance = "1";
    Add(other);
    registry.RemoveService(kUSN);
    registry.Leave(true);
    EXPECT_EQ(TakeCalls().size(), 2U); // the goodbye and the freed number of kUSN
    EXPECT_EQ(Pass(0), Calls{});
    EXPECT_TRUE(registry.HostList().empty());
    // The dropped removal does not remove a service that is added later.
    EXPECT_THAT(AddNow(Own()), ElementsAre("document /var/www/html/corvia_12_upnp_ssdp_1.xml",
                                           "alive uuid:65746500-Corvia 12-192.0.2.10-0"));
    EXPECT_NE(Host(kUSN), nullptr);
}
