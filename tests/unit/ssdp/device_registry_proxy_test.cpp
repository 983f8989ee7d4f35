#include "registry_fixture.h"

#include <map>

// A silent device: it waits, is taken over, is announced by proxy, is removed.

using testing::ElementsAre;

namespace {

class RegistryProxy : public RegistryFixture
{
};

const char *const kUSN = "uuid:65746500-ZR1-192.0.2.30-0";
const char *const kAlive = "alive uuid:65746500-ZR1-192.0.2.30-0";

} // namespace

TEST_F(RegistryProxy, AddedDeviceHasTwoToFiveTicksToAnnounceItself)
{
    SSDPDeviceType silent = Silent();
    silent.maxAge = "200";
    EXPECT_EQ(AddNow(silent), Calls{});
    ASSERT_NE(Node(kUSN), nullptr);
    const std::int32_t countdown = Node(kUSN)->timerCountdown;
    EXPECT_GE(countdown, 10000);
    EXPECT_LE(countdown, 24999);
    silent.timerPeriod = 200000;
    silent.timerCountdown = countdown;
    silent.repeatCount = 3;
    EXPECT_EQ(FieldsExceptFlag(*Node(kUSN)), FieldsExceptFlag(silent));
    EXPECT_EQ(Host(kUSN), nullptr);
    EXPECT_TRUE(registry.Changed());
}

TEST_F(RegistryProxy, WaitIsDrawnFromTwoToFiveTicks)
{
    for (const auto &[drawn, wait] : std::map<std::uint32_t, std::int32_t>{
             {0, 10000}, {1, 10001}, {14999, 24999}, {15000, 10000}, {2147483647, 18647}}) {
        environment.random = drawn;
        AddNow(Silent());
        EXPECT_EQ(Node(kUSN)->timerCountdown, wait) << drawn;
        Byebye(kUSN);
    }
}

TEST_F(RegistryProxy, IsNotTakenOverBeforeItsTimeRunsOut)
{
    AddNow(Silent());
    TakeChange();
    EXPECT_EQ(AddNow(Silent()), Calls{});
    Pass(Node(kUSN)->timerCountdown - 1);
    ASSERT_EQ(Node(kUSN)->timerCountdown, 1);
    EXPECT_EQ(AddNow(Silent()), Calls{});
    EXPECT_EQ(Host(kUSN), nullptr);
    EXPECT_EQ(Node(kUSN)->timerCountdown, 1); // nor refreshed
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryProxy, IsRenamedWhileItWaits)
{
    AddNow(Silent());
    TakeChange();
    SSDPDeviceType renamed = Silent();
    renamed.hostName = "field-9";
    EXPECT_EQ(AddNow(renamed), Calls{});
    EXPECT_EQ(Node(kUSN)->hostName, "field-9");
    EXPECT_TRUE(registry.Changed());
}

TEST_F(RegistryProxy, StaysKnownAfterItsTimeRanOut)
{
    AddNow(Silent());
    TakeChange();
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(Pass(2147483647), Calls{});
    }
    ASSERT_NE(Node(kUSN), nullptr);
    EXPECT_EQ(Node(kUSN)->timerCountdown, -2147483647 - 1); // the countdown does not wrap
    EXPECT_EQ(Node(kUSN)->repeatCount, 3);
    EXPECT_FALSE(registry.Changed());
    EXPECT_EQ(AddNow(Silent()).size(), 2U); // it can still be taken over
}

TEST_F(RegistryProxy, ByebyeEndsTheWait)
{
    AddNow(Silent());
    Pass(30000);
    Byebye(kUSN);
    EXPECT_EQ(Node(kUSN), nullptr);
}

TEST_F(RegistryProxy, IsTakenOverWhenAddedAfterItsTimeRanOut)
{
    AddNow(Silent());
    Pass(Node(kUSN)->timerCountdown);
    ASSERT_EQ(Node(kUSN)->timerCountdown, 0);
    TakeChange();

    EXPECT_THAT(AddNow(Silent()),
                ElementsAre("document /var/www/html/zr1_upnp_ssdp_1.xml", kAlive));
    SSDPDeviceType expected = Published(Silent(), 1); // its document is at this device
    expected.repeatCount = 3;
    EXPECT_EQ(FieldsExceptFlag(*Host(kUSN)), FieldsExceptFlag(expected));
    EXPECT_EQ(FieldsExceptFlag(*Node(kUSN)), FieldsExceptFlag(expected));
    EXPECT_EQ(lastMulticast, formats::ComposeAlive(expected));
    EXPECT_TRUE(registry.Changed());
}

TEST_F(RegistryProxy, KeepsWaitingWhenItsDocumentCannotBeWritten)
{
    AddNow(Silent());
    Pass(30000);
    TakeChange();
    environment.files.writable = false;
    const SSDPDeviceType before = *Node(kUSN);
    AddNow(Silent());
    EXPECT_EQ(environment.TakeFaults().back(),
              "UpdateContainers: Unable to generate a description file for "
              "uuid:65746500-ZR1-192.0.2.30-0, ZR1");
    EXPECT_EQ(Host(kUSN), nullptr);
    EXPECT_EQ(FieldsExceptFlag(*Node(kUSN)), FieldsExceptFlag(before));
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryProxy, KeepsWaitingWhenThisDeviceHasNoAddress)
{
    AddNow(Silent());
    Pass(30000);
    link.ClearInterfaces();
    EXPECT_EQ(AddNow(Silent()), Calls{});
    EXPECT_EQ(Host(kUSN), nullptr);
}

TEST_F(RegistryProxy, IsAnnouncedThreeMoreTimesAndThenRemoved)
{
    TakeOver(Silent());
    for (const int repeatsLeft : {2, 1, 0}) {
        EXPECT_EQ(Pass(5000), Calls{});
        EXPECT_EQ(Pass(5000), Calls{});
        EXPECT_THAT(Pass(5000), ElementsAre(kAlive));
        EXPECT_EQ(Node(kUSN)->repeatCount, repeatsLeft);
        EXPECT_EQ(Node(kUSN)->timerCountdown, 20000);
    }
    EXPECT_EQ(Pass(20000), Calls{});
    EXPECT_NE(Host(kUSN), nullptr);
    EXPECT_NE(Node(kUSN), nullptr);
    EXPECT_FALSE(registry.Changed());

    EXPECT_THAT(Pass(5000), ElementsAre("byebye uuid:65746500-ZR1-192.0.2.30-0",
                                        "return /var/www/html/zr1_upnp_ssdp_1.xml"));
    EXPECT_EQ(Host(kUSN), nullptr);
    EXPECT_EQ(Node(kUSN), nullptr);
    EXPECT_TRUE(registry.Changed());
    EXPECT_EQ(Pass(5000), Calls{});
}

TEST_F(RegistryProxy, GetsThreeRepeatsAgainWhenAddedWhileAnnounced)
{
    TakeOver(Silent());
    Pass(20000);
    Pass(20000);
    ASSERT_EQ(Node(kUSN)->repeatCount, 1);
    const std::int32_t countdown = Node(kUSN)->timerCountdown;
    EXPECT_EQ(AddNow(Silent()), Calls{});
    EXPECT_EQ(Node(kUSN)->repeatCount, 3);
    EXPECT_EQ(Host(kUSN)->repeatCount, 3);
    EXPECT_EQ(Node(kUSN)->timerCountdown, countdown);
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryProxy, IsRenamedInBothListsWhileAnnounced)
{
    TakeOver(Silent());
    SSDPDeviceType renamed = Silent();
    renamed.hostName = "field-9";
    EXPECT_EQ(AddNow(renamed), Calls{});
    EXPECT_EQ(Host(kUSN)->hostName, "field-9");
    EXPECT_EQ(Node(kUSN)->hostName, "field-9");
    EXPECT_TRUE(registry.Changed());
}

TEST_F(RegistryProxy, IsRemovedAndWaitsAgainWhenAddedAfterItsLastRepeat)
{
    TakeOver(Silent());
    for (int i = 0; i < 4; ++i) {
        Pass(20000);
    }
    EXPECT_THAT(AddNow(Silent()), ElementsAre("byebye uuid:65746500-ZR1-192.0.2.30-0",
                                              "return /var/www/html/zr1_upnp_ssdp_1.xml"));
    EXPECT_EQ(Host(kUSN), nullptr);
    ASSERT_NE(Node(kUSN), nullptr);
    EXPECT_EQ(Node(kUSN)->repeatCount, 3);
    EXPECT_GE(Node(kUSN)->timerCountdown, 10000);
}

TEST_F(RegistryProxy, IsAnnouncedAfterAByebyeUntilItsRepeatsAreUsedUp)
{
    TakeOver(Silent());
    Byebye(kUSN);
    TakeChange();
    for (int repeat = 0; repeat < 3; ++repeat) {
        EXPECT_EQ(Pass(5000), Calls{});
        EXPECT_EQ(Pass(5000), Calls{});
        EXPECT_THAT(Pass(5000), ElementsAre(kAlive));
    }
    EXPECT_EQ(Pass(20000), Calls{});
    EXPECT_THAT(Pass(5000), ElementsAre("byebye uuid:65746500-ZR1-192.0.2.30-0",
                                        "return /var/www/html/zr1_upnp_ssdp_1.xml"));
    EXPECT_EQ(Host(kUSN), nullptr);
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryProxy, StaysUnknownAndUnchangedWhenAddedAfterAByebye)
{
    TakeOver(Silent());
    Byebye(kUSN);
    Pass(20000);
    ASSERT_EQ(Host(kUSN)->repeatCount, 2);
    TakeChange();
    SSDPDeviceType renamed = Silent();
    renamed.hostName = "field-9";
    EXPECT_EQ(AddNow(renamed), Calls{});
    EXPECT_EQ(Host(kUSN)->hostName, "field-1");
    EXPECT_EQ(Host(kUSN)->repeatCount, 2);
    EXPECT_EQ(Node(kUSN), nullptr);
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryProxy, ForgedDescriptionReplacesTheEntryButChangesNoAnnouncement)
{
    TakeOver(Silent());
    const std::string announcement = formats::ComposeAlive(*Host(kUSN));
    SSDPDeviceType forged = Described(Silent());
    forged.hostName = "forged";
    registry.EnterDescription(forged);
    EXPECT_EQ(FieldsExceptFlag(*Node(kUSN)), FieldsExceptFlag(forged));
    for (const int repeatsLeft : {2, 1, 0}) {
        EXPECT_THAT(Pass(20000), ElementsAre(kAlive));
        EXPECT_EQ(lastMulticast, announcement);
        EXPECT_EQ(Node(kUSN)->repeatCount, repeatsLeft);
        EXPECT_EQ(Node(kUSN)->hostName, "forged");
    }
    EXPECT_EQ(Pass(20000), Calls{});
    EXPECT_EQ(Pass(5000).size(), 2U); // the goodbye and the freed number
}

TEST_F(RegistryProxy, OwnServiceThatCouldBeProxiedIsAnnouncedWithoutLimit)
{
    const SSDPDeviceType own = Device("ZR1", "192.0.2.10", "studio-a");
    EXPECT_EQ(AddNow(own).size(), 2U);
    EXPECT_EQ(Host(own.usn)->repeatCount, 3);
    for (int i = 0; i < 20; ++i) {
        EXPECT_THAT(Pass(20000), ElementsAre("alive uuid:65746500-ZR1-192.0.2.10-0"));
        EXPECT_EQ(Node(own.usn)->repeatCount, 3);
    }
}
