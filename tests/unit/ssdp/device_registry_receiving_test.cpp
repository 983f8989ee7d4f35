#include "registry_fixture.h"

// Devices that are never proxied: their announcements, descriptions, refreshes and
// goodbyes.

using testing::ElementsAre;

namespace {

const char *const kPeerUSN = "uuid:65746500-Lumen-192.0.2.20-0";

class RegistryReceiving : public RegistryFixture
{
protected:
    // Adds a device whose description was not received yet.
    void AddUndescribed()
    {
        SSDPDeviceType peer = Peer();
        peer.maxAge = "200";
        AddNow(peer);
        TakeChange();
    }

    // Two peers are due and announce themselves: the first is asked again at 901 s. Returns the
    // other one, which is to be asked next.
    SSDPDeviceType AskOneOfTwo()
    {
        SSDPDeviceType other = Described(Peer());
        other.usn = "uuid:65746500-Lumen-192.0.2.21-0";
        registry.EnterDescription(Described(Peer()));
        registry.EnterDescription(other);
        registry.SetTime(901000);
        EXPECT_EQ(Alive(kPeerUSN).size(), 1U);
        EXPECT_EQ(Alive(other.usn), Calls{});
        return other;
    }
};

} // namespace

TEST_F(RegistryReceiving, DeviceOfAnotherMakerIsNeverAdded)
{
    for (const char *usn :
         {"uuid:2f402f80-da50-11e1-9b23-001788255acc::upnp:rootdevice", "65746500-Lumen-1.2.3.4-0",
          "UUID:65746500-Lumen-1.2.3.4-0", "uuid:65746500", "uuid:TalonMx", ""}) {
        EXPECT_EQ(Alive(usn), Calls{}) << usn;
    }
    EXPECT_TRUE(registry.NodeList().empty());
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryReceiving, EachAliveOfAnUnknownPeerOnlyRequestsItsDescription)
{
    for (int i = 0; i < 3; ++i) {
        EXPECT_THAT(Alive(kPeerUSN, 1800, "http://192.0.2.20:80/a.xml"),
                    ElementsAre("get http://192.0.2.20:80/a.xml"));
    }
    EXPECT_TRUE(registry.NodeList().empty());
    EXPECT_TRUE(registry.HostList().empty());
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryReceiving, USNPrefixMayBeAnywhereInTheUSN)
{
    EXPECT_EQ(Alive("x uuid:65746500-").size(), 1U);
}

TEST_F(RegistryReceiving, DescriptionAddsThePeerAndFlagsAChange)
{
    const SSDPDeviceType peer = Described(Peer());
    registry.EnterDescription(peer);
    ASSERT_NE(Node(kPeerUSN), nullptr);
    EXPECT_EQ(FieldsExceptFlag(*Node(kPeerUSN)), FieldsExceptFlag(peer));
    EXPECT_EQ(Host(kPeerUSN), nullptr);
    EXPECT_TRUE(registry.Changed());
    EXPECT_EQ(TakeCalls(), Calls{});
}

TEST_F(RegistryReceiving, SecondDescriptionReplacesEveryField)
{
    SSDPDeviceType first = FullRecord();
    first.usn = kPeerUSN;
    registry.EnterDescription(first);
    TakeChange();
    SSDPDeviceType second;
    second.usn = kPeerUSN;
    registry.EnterDescription(second);
    EXPECT_EQ(FieldsExceptFlag(*Node(kPeerUSN)), FieldsExceptFlag(second));
    EXPECT_EQ(registry.NodeList().size(), 1U);
    EXPECT_TRUE(registry.Changed());
}

TEST_F(RegistryReceiving, AliveOfAKnownPeerRefreshesItWithoutARequest)
{
    registry.EnterDescription(Described(Peer()));
    TakeChange();
    Pass(100000);
    EXPECT_EQ(Node(kPeerUSN)->timerCountdown, 140000);
    SSDPDeviceType expected = Described(Peer());
    EXPECT_EQ(Alive(kPeerUSN, 1), Calls{});
    // The received max-age is ignored.
    EXPECT_EQ(FieldsExceptFlag(*Node(kPeerUSN)), FieldsExceptFlag(expected));
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryReceiving, AliveOfAPeerWithoutModelNumberRefreshesItAndRequestsItsDescription)
{
    AddUndescribed();
    Pass(100000);
    EXPECT_THAT(Alive(kPeerUSN, 1800, "http://192.0.2.20:80/a.xml"),
                ElementsAre("get http://192.0.2.20:80/a.xml"));
    EXPECT_EQ(Node(kPeerUSN)->timerCountdown, 400000);
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryReceiving, LongestPeriodDoesNotOverflowTheCountdown)
{
    SSDPDeviceType peer = Described(Peer());
    peer.timerPeriod = 1073741000;
    registry.EnterDescription(peer);
    Alive(kPeerUSN);
    EXPECT_EQ(Node(kPeerUSN)->timerCountdown, 2147482000);
}

TEST_F(RegistryReceiving, ByebyeRemovesThePeerAndFlagsAChange)
{
    registry.EnterDescription(Described(Peer()));
    TakeChange();
    EXPECT_EQ(Byebye(kPeerUSN), Calls{});
    EXPECT_EQ(Node(kPeerUSN), nullptr);
    EXPECT_TRUE(registry.Changed());
}

TEST_F(RegistryReceiving, ByebyeOfAnUnknownDeviceChangesNothing)
{
    registry.EnterDescription(Described(Peer()));
    TakeChange();
    EXPECT_EQ(Byebye("uuid:65746500-Lumen-192.0.2.20-1"), Calls{});
    EXPECT_EQ(Byebye(""), Calls{});
    EXPECT_EQ(registry.NodeList().size(), 1U);
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryReceiving, SecondByebyeOfAnAnnouncedServiceChangesNothing)
{
    AddNow(Own());
    Byebye(Own().usn);
    TakeChange();
    EXPECT_EQ(Byebye(Own().usn), Calls{});
    EXPECT_NE(Host(Own().usn), nullptr);
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryReceiving, ForgettingASilentPeerSendsNothingAndFlagsAChange)
{
    registry.EnterDescription(Described(Peer()));
    TakeChange();
    EXPECT_EQ(Pass(5000), Calls{});
    EXPECT_EQ(Pass(229999), Calls{}); // 5001 ms are left, less than this pass took
    EXPECT_EQ(Node(kPeerUSN), nullptr);
    EXPECT_TRUE(registry.Changed());
}

TEST_F(RegistryReceiving, PeerIsForgottenOnePassBeforeItsTimeRunsOut)
{
    SSDPDeviceType peer = Described(Peer());
    peer.timerCountdown = 10001;
    registry.EnterDescription(peer);
    TakeChange();
    Pass(5000);
    EXPECT_NE(Node(kPeerUSN), nullptr); // 5001 ms are left, more than one pass
    EXPECT_FALSE(registry.Changed());

    peer.timerCountdown = 10000;
    registry.EnterDescription(peer);
    Pass(5000);
    EXPECT_EQ(Node(kPeerUSN), nullptr); // 5000 ms are not more than one pass

    peer.timerCountdown = 9000;
    registry.EnterDescription(peer);
    Pass(5000);
    EXPECT_EQ(Node(kPeerUSN), nullptr);
}

TEST_F(RegistryReceiving, PassOfZeroMillisecondsForgetsOnlyPeersWithoutTimeLeft)
{
    SSDPDeviceType peer = Described(Peer());
    peer.timerCountdown = 1;
    registry.EnterDescription(peer);
    Pass(0);
    EXPECT_NE(Node(kPeerUSN), nullptr);
    peer.timerCountdown = 0;
    registry.EnterDescription(peer);
    Pass(0);
    EXPECT_EQ(Node(kPeerUSN), nullptr);
}

TEST_F(RegistryReceiving, OnlyPeersWhoseTimeRanOutAreForgotten)
{
    for (int i = 0; i < 10; ++i) {
        SSDPDeviceType peer = Described(Device("Lumen", "192.0.2." + std::to_string(100 + i), "x"));
        peer.timerCountdown = i % 2 == 0 ? 1000 : 100000;
        registry.EnterDescription(peer);
    }
    Pass(5000);
    ASSERT_EQ(registry.NodeList().size(), 5U);
    for (const auto &[usn, peer] : registry.NodeList()) {
        EXPECT_EQ(peer.timerCountdown, 95000);
    }
}

TEST_F(RegistryReceiving, AddedPeerIsKnownForTwiceItsMaxAgeAndNotAnnounced)
{
    SSDPDeviceType peer = Peer();
    peer.maxAge = "200";
    EXPECT_EQ(AddNow(peer), Calls{});
    peer.timerPeriod = 200000;
    peer.timerCountdown = 400000;
    ASSERT_NE(Node(kPeerUSN), nullptr);
    EXPECT_EQ(FieldsExceptFlag(*Node(kPeerUSN)), FieldsExceptFlag(peer));
    EXPECT_EQ(Host(kPeerUSN), nullptr);
    EXPECT_TRUE(registry.Changed());
    Pass(400000);
    EXPECT_EQ(Node(kPeerUSN), nullptr);
}

TEST_F(RegistryReceiving, AddedPeerHasRepeatCount0)
{
    SSDPDeviceType peer = Peer();
    peer.repeatCount = 9;
    AddNow(peer);
    EXPECT_EQ(Node(kPeerUSN)->repeatCount, 0);
    // A max-age is drawn, since the record has none.
    EXPECT_GE(Node(kPeerUSN)->timerPeriod, 120000U);
    EXPECT_LE(Node(kPeerUSN)->timerPeriod, 129000U);
    EXPECT_EQ(Node(kPeerUSN)->maxAge, std::to_string(Node(kPeerUSN)->timerPeriod / 1000));
}

TEST_F(RegistryReceiving, PeerAddedAgainIsRefreshedAndRenamed)
{
    AddUndescribed();
    Pass(100000);
    EXPECT_EQ(AddNow(Peer()), Calls{});
    EXPECT_EQ(Node(kPeerUSN)->timerCountdown, 400000);
    EXPECT_FALSE(registry.Changed());

    SSDPDeviceType renamed = Peer();
    renamed.hostName = "studio-z";
    Pass(100000);
    EXPECT_EQ(AddNow(renamed), Calls{});
    EXPECT_EQ(Node(kPeerUSN)->hostName, "studio-z");
    EXPECT_EQ(Node(kPeerUSN)->timerCountdown, 400000);
    EXPECT_TRUE(registry.Changed());
    EXPECT_TRUE(registry.HostList().empty());
}

// A peer whose goodbye was lost may have a new name.
TEST_F(RegistryReceiving, PeerIsAskedAgainAfterFifteenMinutes)
{
    registry.SetTime(1000);
    registry.EnterDescription(Described(Peer()));
    registry.SetTime(1000 + 900000);
    EXPECT_EQ(Alive(kPeerUSN), Calls{});
    registry.SetTime(2000 + 900000);
    EXPECT_THAT(Alive(kPeerUSN), ElementsAre("get http://192.0.2.20:80/peer.xml"));
    registry.SetTime(2000 + 2 * 900000);
    EXPECT_EQ(Alive(kPeerUSN), Calls{}) << "the request counts, even without an answer";
    registry.SetTime(3000 + 2 * 900000);
    EXPECT_THAT(Alive(kPeerUSN), ElementsAre("get http://192.0.2.20:80/peer.xml"));
}

TEST_F(RegistryReceiving, PeerThatWasAddedWithoutADescriptionIsAskedAfterFifteenMinutes)
{
    AddNow(Described(Peer()));
    registry.SetTime(900999);
    EXPECT_EQ(Alive(kPeerUSN), Calls{});
    registry.SetTime(901000);
    EXPECT_THAT(Alive(kPeerUSN), ElementsAre("get http://192.0.2.20:80/peer.xml"));
}

TEST_F(RegistryReceiving, AnswerOfAPeerAskedAgainCountsFromItsArrival)
{
    registry.EnterDescription(Described(Peer()));
    registry.SetTime(901000);
    EXPECT_EQ(Alive(kPeerUSN).size(), 1U);
    registry.SetTime(911000);
    registry.EnterDescription(Described(Peer()));
    registry.SetTime(901000 + 910000);
    EXPECT_EQ(Alive(kPeerUSN), Calls{});
    registry.SetTime(912000 + 900000);
    EXPECT_EQ(Alive(kPeerUSN).size(), 1U);
}

TEST_F(RegistryReceiving, PeersAreAskedAgainFourSecondsApart)
{
    AskOneOfTwo();
    registry.SetTime(904999);
    EXPECT_EQ(TakeCalls(), Calls{});
    registry.SetTime(905000);
    EXPECT_THAT(TakeCalls(), ElementsAre("get http://192.0.2.20:80/peer.xml"));
}

TEST_F(RegistryReceiving, PeerThatLeftIsNotAskedAgain)
{
    const SSDPDeviceType other = AskOneOfTwo();
    Byebye(other.usn);
    registry.SetTime(905000);
    EXPECT_EQ(TakeCalls(), Calls{});
}

TEST_F(RegistryReceiving, PeerThatWasToBeAskedBeforeTheDepartureIsNotAskedAfterIt)
{
    const SSDPDeviceType other = AskOneOfTwo();
    registry.Leave(false);
    registry.EnterDescription(other);
    registry.SetTime(905000);
    EXPECT_EQ(TakeCalls(), Calls{});
}

// Otherwise a forged alive could replace the record by the description of a stranger.
TEST_F(RegistryReceiving, OwnServiceIsNotAskedFor)
{
    AddNow(Described(Own()));
    registry.SetTime(1000000);
    ASSERT_NE(Host("uuid:65746500-Corvia 12-192.0.2.10-0"), nullptr);
    EXPECT_EQ(Alive("uuid:65746500-Corvia 12-192.0.2.10-0"), Calls{});
}

TEST_F(RegistryReceiving, DeviceThatCanBeProxiedIsNotAskedAgain)
{
    AddNow(Silent());
    registry.SetTime(1000000);
    EXPECT_EQ(Alive(Silent().usn), Calls{});
}
