#include "registry_fixture.h"

// A device that can be proxied announces itself.

using testing::ElementsAre;

namespace {

class RegistryHandBack : public RegistryFixture
{
};

const char *const kUSN = "uuid:65746500-ZR1-192.0.2.30-0";

struct MaxAge
{
    std::int32_t receivedSeconds;
    std::int32_t keptSeconds;
};

constexpr std::int32_t kLeastInt = -2147483647 - 1;

const std::vector<MaxAge> kMaxAges{{30, 120},
                                   {0, 120},
                                   {-1, 120},
                                   {kLeastInt, 120},
                                   {119, 120},
                                   {120, 120},
                                   {121, 121},
                                   {1800, 1800},
                                   {1073741, 1073741},
                                   {1073742, 1073741},
                                   {2147483647, 1073741}};

} // namespace

TEST_F(RegistryHandBack, UnknownDeviceIsNeitherAddedNorAskedForItsDescription)
{
    EXPECT_EQ(Alive(kUSN), Calls{});
    EXPECT_EQ(Alive("uuid:foreign-ZR1"), Calls{});
    EXPECT_TRUE(registry.NodeList().empty());
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryHandBack, KnownDeviceIsRefreshedWithTheReceivedMaxAge)
{
    for (const MaxAge &maxAge : kMaxAges) {
        RegistryWithParts freshParts(environment);
        ssdp::DeviceRegistry &fresh = freshParts.registry;
        SSDPDeviceType silent = Silent();
        fresh.AddService(silent);
        fresh.UpdateContainers(0);
        formats::SSDPDeviceMap before;
        ASSERT_TRUE(fresh.TakeChange(before));

        fresh.UpdateDevice({"upnp:rootdevice", kUSN, "http://192.0.2.30:80/a.xml"},
                           maxAge.receivedSeconds);
        SSDPDeviceType expected = before.at(kUSN);
        expected.maxAge = std::to_string(maxAge.keptSeconds);
        expected.timerPeriod = static_cast<std::uint32_t>(maxAge.keptSeconds) * 1000;
        expected.timerCountdown = maxAge.keptSeconds * 2000;
        expected.repeatCount = 0;
        EXPECT_EQ(FieldsExceptFlag(fresh.NodeList().at(kUSN)), FieldsExceptFlag(expected))
            << maxAge.receivedSeconds;
        EXPECT_FALSE(fresh.Changed());
    }
    EXPECT_EQ(TakeCalls(), Calls{});
}

TEST_F(RegistryHandBack, DeviceThatAnnouncedItselfIsForgottenWhenItsTimeRunsOut)
{
    AddNow(Silent());
    Alive(kUSN, 30);
    EXPECT_EQ(Node(kUSN)->timerPeriod, 120000U);
    TakeChange();
    Pass(119999);
    EXPECT_NE(Node(kUSN), nullptr);
    Pass(60001);
    EXPECT_EQ(Node(kUSN), nullptr);
    EXPECT_TRUE(registry.Changed());
}

TEST_F(RegistryHandBack, DeviceThatAnnouncedItselfIsNotTakenOverBeforeItsTimeRunsOut)
{
    AddNow(Silent());
    Alive(kUSN, 120);
    Pass(100000);
    EXPECT_EQ(AddNow(Silent()), Calls{});
    EXPECT_EQ(Host(kUSN), nullptr);
    EXPECT_EQ(Node(kUSN)->timerCountdown, 140000);
}

TEST_F(RegistryHandBack, ProxiedDeviceIsHandedBackWithoutGoodbyeOrChange)
{
    for (const MaxAge &maxAge : kMaxAges) {
        TakeOver(Silent());
        SSDPDeviceType expected = *Host(kUSN);
        EXPECT_THAT(Alive(kUSN, maxAge.receivedSeconds),
                    ElementsAre("return " + expected.descriptionFileName));
        expected.maxAge = std::to_string(maxAge.keptSeconds);
        expected.timerPeriod = static_cast<std::uint32_t>(maxAge.keptSeconds) * 1000;
        expected.timerCountdown = maxAge.keptSeconds * 500;
        expected.repeatCount = 0;
        EXPECT_EQ(Host(kUSN), nullptr);
        ASSERT_NE(Node(kUSN), nullptr);
        EXPECT_EQ(FieldsExceptFlag(*Node(kUSN)), FieldsExceptFlag(expected))
            << maxAge.receivedSeconds;
        EXPECT_FALSE(registry.Changed());
        Byebye(kUSN);
    }
}

TEST_F(RegistryHandBack, AnnouncedRecordReplacesTheKnownRecord)
{
    TakeOver(Silent());
    Pass(20000); // one repeat is used, and the countdown starts again
    const SSDPDeviceType host = *Host(kUSN);
    Alive(kUSN, 400);
    EXPECT_EQ(Node(kUSN)->location, host.location);
    EXPECT_EQ(Node(kUSN)->timerCountdown, 200000);
    EXPECT_EQ(Node(kUSN)->repeatCount, 0);
}

TEST_F(RegistryHandBack, DeviceHandedBackAfterAByebyeIsKnownAgain)
{
    TakeOver(Silent());
    Byebye(kUSN);
    TakeChange();
    EXPECT_EQ(Alive(kUSN).size(), 1U);
    EXPECT_EQ(Host(kUSN), nullptr);
    EXPECT_NE(Node(kUSN), nullptr);
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryHandBack, HandedBackDeviceIsNotAnnouncedAndIsForgottenWhenSilent)
{
    TakeOver(Silent());
    Alive(kUSN, 120);
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(Pass(5000), Calls{});
    }
    EXPECT_NE(Node(kUSN), nullptr); // 10000 ms of 60000 are left
    EXPECT_EQ(Pass(5000), Calls{});
    EXPECT_EQ(Node(kUSN), nullptr);
    EXPECT_TRUE(registry.Changed());
}

TEST_F(RegistryHandBack, FurtherAlivesRefreshTheHandedBackDevice)
{
    TakeOver(Silent());
    Alive(kUSN, 120);
    EXPECT_EQ(Alive(kUSN, 200), Calls{});
    EXPECT_EQ(Node(kUSN)->timerCountdown, 400000);
}

TEST_F(RegistryHandBack, DeviceHandedBackBeforeItsRemovalIsForgottenWithoutGoodbye)
{
    TakeOver(Silent());
    for (int i = 0; i < 4; ++i) {
        Pass(20000);
    }
    EXPECT_EQ(Alive(kUSN).size(), 1U);
    EXPECT_EQ(Pass(5000), Calls{});
    EXPECT_EQ(Node(kUSN), nullptr);
}

TEST_F(RegistryHandBack, OwnServiceIsHandedBackLikeAnyOther)
{
    const SSDPDeviceType own = Device("ZR1", "192.0.2.10", "studio-a");
    AddNow(own);
    TakeChange();
    SSDPDeviceType expected = *Host(own.usn);
    EXPECT_THAT(Alive(own.usn, 1), ElementsAre("return " + expected.descriptionFileName));
    expected.maxAge = "120";
    expected.timerPeriod = 120000;
    expected.timerCountdown = 60000;
    expected.repeatCount = 0;
    EXPECT_EQ(Host(own.usn), nullptr);
    EXPECT_EQ(FieldsExceptFlag(*Node(own.usn)), FieldsExceptFlag(expected));
    EXPECT_FALSE(registry.Changed());
    EXPECT_EQ(Pass(20000), Calls{}); // neither a goodbye nor an announcement
    // Added again, for instance when SSDP is switched on, it stays a known device until its
    // time runs out.
    EXPECT_EQ(AddNow(own), Calls{});
    EXPECT_EQ(registry.HostList().size(), 0U);
    EXPECT_EQ(Node(own.usn)->timerCountdown, 40000);
}

TEST_F(RegistryHandBack, DescriptionReplacesAHandedBackDevice)
{
    TakeOver(Silent());
    Alive(kUSN);
    SSDPDeviceType described = Described(Silent());
    described.hostName = "other";
    registry.EnterDescription(described);
    EXPECT_EQ(FieldsExceptFlag(*Node(kUSN)), FieldsExceptFlag(described));
}

TEST_F(RegistryHandBack, DescriptionEndsTheWaitForTheTakeOver)
{
    AddNow(Silent());
    registry.EnterDescription(Described(Silent()));
    EXPECT_EQ(Node(kUSN)->repeatCount, 0);
    Pass(120000);
    EXPECT_EQ(Node(kUSN), nullptr);
}
