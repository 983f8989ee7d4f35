#include "registry_fixture.h"

#include "formats/browse_document.h"
#include "ssdp/ssdp_tunables.h"

// The bounds against a hostile network: the number of devices, and the bytes of their
// texts.

using testing::ElementsAre;

namespace {

constexpr int kBound = 4096;
const char *const kLine = "ProcessDescriptionResponse: Too many devices, dropping what comes more";

class RegistryBounds : public RegistryFixture
{
protected:
    static std::string USN(int number) { return "uuid:65746500-Lumen-" + std::to_string(number); }

    // The record of a device whose model description has this number of bytes.
    static SSDPDeviceType LargeDevice(int number, std::size_t bytes, char byte = 'x')
    {
        SSDPDeviceType device =
            Described(Device("Lumen", "198.51.100.1", "peer" + std::to_string(number)));
        device.usn = USN(number);
        device.modelDescription.assign(bytes, byte);
        return device;
    }

    // The bytes that the registry counts for a device.
    static std::size_t BytesOf(const SSDPDeviceType &device)
    {
        return formats::SizeOfBrowseObject(device) + 2 * device.usn.size() +
               device.modelNumber.size() + device.maxAge.size();
    }

    // The registry receives a device's description. Returns the lines that it reports.
    Calls Enter(int number)
    {
        registry.EnterDescription(LargeDevice(number, 0));
        return environment.TakeFaults();
    }

    void Confirm(int number) { Alive(USN(number)); }

    // Fills the registry with devices that have announced themselves.
    void FillConfirmed()
    {
        for (int number = 0; number < kBound; ++number) {
            ASSERT_EQ(Enter(number), Calls{});
            Confirm(number);
        }
        TakeChange();
    }

    // Fills the registry with devices that have not announced themselves.
    void FillUnconfirmed()
    {
        for (int number = 0; number < kBound; ++number) {
            ASSERT_EQ(Enter(number), Calls{});
        }
        TakeChange();
    }

    // The registry receives the descriptions of as many devices as it may have.
    void EnterAll()
    {
        for (int number = 0; number < kBound; ++number) {
            Enter(number);
        }
    }

    // The size of the browse document. Checks that it is within its bound.
    std::size_t DocumentSize()
    {
        const std::size_t size = formats::ComposeBrowseDocument(registry.NodeList()).size();
        EXPECT_LE(size, ssdp::kMaxKnownBytes);
        return size;
    }
};

} // namespace

TEST_F(RegistryBounds, Are4096DevicesAnd4MiB)
{
    EXPECT_EQ(ssdp::kMaxDiscoveredNodes, 4096U);
    EXPECT_EQ(ssdp::kMaxKnownBytes, 4194304U);
    FillConfirmed();
    EXPECT_EQ(registry.NodeList().size(), 4096U);
}

TEST_F(RegistryBounds, DescriptionIsDroppedAndReportedOnceWhenAllEntriesAreConfirmed)
{
    FillConfirmed();
    EXPECT_THAT(Enter(kBound), ElementsAre(kLine));
    EXPECT_EQ(Enter(kBound + 1), Calls{});
    EXPECT_EQ(Enter(kBound), Calls{});
    EXPECT_EQ(registry.NodeList().size(), 4096U);
    EXPECT_EQ(Node(USN(kBound)), nullptr);
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryBounds, NewcomerReplacesTheOldestUnconfirmedEntry)
{
    FillUnconfirmed();
    Confirm(0);
    Confirm(2);
    EXPECT_THAT(Enter(kBound), ElementsAre(kLine));
    EXPECT_EQ(Enter(kBound + 1), Calls{});
    EXPECT_EQ(registry.NodeList().size(), 4096U);
    EXPECT_NE(Node(USN(0)), nullptr);
    EXPECT_EQ(Node(USN(1)), nullptr);
    EXPECT_NE(Node(USN(2)), nullptr);
    EXPECT_EQ(Node(USN(3)), nullptr);
    EXPECT_NE(Node(USN(4)), nullptr);
    EXPECT_NE(Node(USN(kBound)), nullptr);
    EXPECT_NE(Node(USN(kBound + 1)), nullptr);
    EXPECT_TRUE(registry.Changed());
}

TEST_F(RegistryBounds, ConfirmedEntryStaysConfirmedAfterANewDescription)
{
    FillUnconfirmed();
    Confirm(0);
    Enter(0);
    for (int number = 0; number < kBound + 10; ++number) {
        Enter(10000 + number);
    }
    EXPECT_NE(Node(USN(0)), nullptr);
    EXPECT_EQ(registry.NodeList().size(), 4096U);
}

TEST_F(RegistryBounds, AnnouncementOfAZR1ConfirmsItsEntry)
{
    registry.EnterDescription(Described(Silent()));
    EnterAll();
    EXPECT_EQ(Node(Silent().usn), nullptr); // it was the oldest unconfirmed entry
    registry.EnterDescription(Described(Silent()));
    Alive(Silent().usn);
    EnterAll();
    EXPECT_NE(Node(Silent().usn), nullptr);
}

TEST_F(RegistryBounds, AddedServicesAreNeverReplaced)
{
    AddNow(Own());
    AddNow(Silent());
    SSDPDeviceType added = Peer();
    added.maxAge = "100000";
    AddNow(added);
    for (int number = 0; number < 2 * kBound; ++number) {
        Enter(number);
    }
    EXPECT_NE(Node(Own().usn), nullptr);
    EXPECT_NE(Node(Silent().usn), nullptr);
    EXPECT_NE(Node(added.usn), nullptr);
}

TEST_F(RegistryBounds, ForgedDescriptionsWithTheLongestMaxAgeDoNotLockARealDeviceOut)
{
    for (int number = 0; number < kBound; ++number) {
        SSDPDeviceType forged = LargeDevice(number, 0);
        forged.timerPeriod = 1073741000;
        forged.timerCountdown = 2147482000;
        registry.EnterDescription(forged);
    }
    const SSDPDeviceType real = Described(Peer());
    EXPECT_THAT(Alive(real.usn), ElementsAre("get http://192.0.2.20:80/peer.xml"));
    registry.EnterDescription(real);
    EXPECT_NE(Node(real.usn), nullptr);
    Alive(real.usn);
    for (int number = 0; number < 2 * kBound; ++number) {
        Enter(10000 + number);
    }
    EXPECT_NE(Node(real.usn), nullptr); // its announcement has confirmed it
}

// Otherwise byebyes between descriptions would cause a line for each pair of datagrams.
TEST_F(RegistryBounds, FullRegistryIsNotReportedAgainForEachDeviceThatLeaves)
{
    FillConfirmed();
    EXPECT_THAT(Enter(kBound), ElementsAre(kLine));
    for (int number = 0; number < 3; ++number) {
        Byebye(USN(number));
        EXPECT_EQ(Enter(kBound + number), Calls{});
        Confirm(kBound + number);
        EXPECT_NE(Node(USN(kBound + number)), nullptr);
        EXPECT_EQ(Enter(kBound + 10), Calls{});
        EXPECT_EQ(Node(USN(kBound + 10)), nullptr);
    }
}

TEST_F(RegistryBounds, FullRegistryIsNotReportedAgainAfterItWasHalfFull)
{
    FillConfirmed();
    EXPECT_THAT(Enter(kBound), ElementsAre(kLine));
    for (int number = 0; number < kBound / 2; ++number) {
        Byebye(USN(number));
    }
    FillConfirmed();
    EXPECT_EQ(Enter(kBound), Calls{});
}

TEST_F(RegistryBounds, FullRegistryIsReportedAgainAfterItWasLessThanHalfFull)
{
    FillConfirmed();
    EXPECT_THAT(Enter(kBound), ElementsAre(kLine));
    for (int number = 0; number <= kBound / 2; ++number) {
        Byebye(USN(number));
    }
    FillConfirmed();
    EXPECT_THAT(Enter(kBound), ElementsAre(kLine));
    EXPECT_EQ(Enter(kBound), Calls{});
}

TEST_F(RegistryBounds, KnownDeviceIsUpdatedInAFullRegistry)
{
    FillConfirmed();
    SSDPDeviceType renamed = LargeDevice(7, 0);
    renamed.hostName = "renamed";
    registry.EnterDescription(renamed);
    EXPECT_EQ(environment.TakeFaults(), Calls{});
    EXPECT_EQ(Node(USN(7))->hostName, "renamed");
    EXPECT_TRUE(registry.Changed());
}

TEST_F(RegistryBounds, AnnouncedServicesDoNotCount)
{
    AddNow(Own());
    TakeOver(Silent());
    FillConfirmed();
    EXPECT_EQ(registry.NodeList().size(), 4098U);
    EXPECT_THAT(Enter(kBound), ElementsAre(kLine));
}

TEST_F(RegistryBounds, AnnouncedServiceThatIsNotKnownMakesNoRoom)
{
    AddNow(Own());
    Byebye(Own().usn);
    FillConfirmed();
    EXPECT_EQ(registry.NodeList().size(), 4096U);
    EXPECT_THAT(Enter(kBound), ElementsAre(kLine));
}

TEST_F(RegistryBounds, ServiceIsAnnouncedInAFullRegistry)
{
    FillConfirmed();
    EXPECT_EQ(AddNow(Own()).size(), 2U);
    EXPECT_NE(Node(Own().usn), nullptr);
    EXPECT_THAT(Enter(kBound), ElementsAre(kLine));
}

TEST_F(RegistryBounds, FullRegistryEmptiesWhenDevicesAreSilent)
{
    FillConfirmed();
    EXPECT_THAT(Enter(kBound), ElementsAre(kLine));
    Pass(120000);
    EXPECT_TRUE(registry.NodeList().empty());
    EXPECT_EQ(Enter(kBound), Calls{});
}

TEST_F(RegistryBounds, TextsAreCountedAsTheBrowseDocumentWritesThem)
{
    for (int number = 0; number < 1000; ++number) {
        registry.EnterDescription(LargeDevice(number, 1300, '\x01')); // written as six bytes each
        Confirm(number);
    }
    EXPECT_THAT(environment.TakeFaults(), ElementsAre(kLine));
    EXPECT_GT(DocumentSize(), ssdp::kMaxKnownBytes - 100000);
    // A model name is written twice.
    SSDPDeviceType device = LargeDevice(1, 0);
    device.modelName.assign(80000, 'x');
    registry.EnterDescription(device);
    EXPECT_EQ(Node(USN(1))->modelName, "Lumen");
}

TEST_F(RegistryBounds, TextsThatTheBrowseDocumentLeavesOutAreCountedAsTheyAreKept)
{
    constexpr std::size_t kBytes = 100000;
    SSDPDeviceType device = LargeDevice(0, 0);
    device.modelNumber.assign(kBytes, 'x');
    device.maxAge.assign(kBytes, '1');
    const std::string end(kBytes, 'x');
    for (int number = 0; number < 100; ++number) {
        device.usn = USN(number) + end; // kept twice
        registry.EnterDescription(device);
        Alive(device.usn);
    }
    EXPECT_EQ(registry.NodeList().size(), ssdp::kMaxKnownBytes / (4 * kBytes));
}

TEST_F(RegistryBounds, LargeUnconfirmedEntriesAreReplacedToo)
{
    for (int number = 0; number < 1000; ++number) {
        registry.EnterDescription(LargeDevice(number, 1300, '\x01'));
    }
    EXPECT_NE(Node(USN(999)), nullptr);
    EXPECT_EQ(Node(USN(0)), nullptr);
    EXPECT_GT(DocumentSize(), ssdp::kMaxKnownBytes - 100000);
}

TEST_F(RegistryBounds, KnownDeviceMayGrowWithinTheBoundOnly)
{
    registry.EnterDescription(LargeDevice(1, 100));
    registry.EnterDescription(LargeDevice(1, 9000));
    Confirm(1);
    EXPECT_EQ(Node(USN(1))->modelDescription.size(), 9000U);
    registry.EnterDescription(LargeDevice(2, ssdp::kMaxKnownBytes - 10000));
    Confirm(2);
    registry.EnterDescription(LargeDevice(1, 9700));
    registry.EnterDescription(LargeDevice(1, 20000));
    EXPECT_THAT(environment.TakeFaults(), ElementsAre(kLine));
    EXPECT_EQ(Node(USN(1))->modelDescription.size(), 9000U);
    registry.EnterDescription(LargeDevice(1, 50));
    EXPECT_EQ(Node(USN(1))->modelDescription.size(), 50U);
}

TEST_F(RegistryBounds, DescriptionLargerThanTheBoundRemovesNothing)
{
    registry.EnterDescription(LargeDevice(1, 100));
    registry.EnterDescription(LargeDevice(1, ssdp::kMaxKnownBytes));
    EXPECT_EQ(Node(USN(1))->modelDescription.size(), 100U);
}

TEST_F(RegistryBounds, DescriptionMayFillTheBoundToItsLastByte)
{
    const std::size_t rest = ssdp::kMaxKnownBytes - BytesOf(LargeDevice(1, 0));
    registry.EnterDescription(LargeDevice(1, rest + 1));
    EXPECT_EQ(Node(USN(1)), nullptr);
    registry.EnterDescription(LargeDevice(1, rest));
    EXPECT_NE(Node(USN(1)), nullptr);
}

TEST_F(RegistryBounds, FullListIsReportedAgainAfterLessThanHalfOfTheBytesAreUsed)
{
    const std::size_t half = ssdp::kMaxKnownBytes / 2 - BytesOf(LargeDevice(1, 0));
    const SSDPDeviceType tooLarge = LargeDevice(2, ssdp::kMaxKnownBytes);
    registry.EnterDescription(LargeDevice(1, half));
    registry.EnterDescription(tooLarge);
    EXPECT_THAT(environment.TakeFaults(), ElementsAre(kLine));
    registry.EnterDescription(tooLarge);
    EXPECT_EQ(environment.TakeFaults(), Calls{});
    registry.EnterDescription(LargeDevice(1, half - 1));
    registry.EnterDescription(tooLarge);
    EXPECT_THAT(environment.TakeFaults(), ElementsAre(kLine));
}

TEST_F(RegistryBounds, RefusedDescriptionRemovesNoUnconfirmedEntry)
{
    registry.EnterDescription(LargeDevice(1, ssdp::kMaxKnownBytes - 10000));
    Alive(USN(1));
    registry.EnterDescription(LargeDevice(2, 100));
    registry.EnterDescription(LargeDevice(3, 100));
    TakeChange();
    registry.EnterDescription(LargeDevice(4, 20000));
    registry.EnterDescription(LargeDevice(3, 20000));
    EXPECT_NE(Node(USN(2)), nullptr);
    EXPECT_EQ(Node(USN(3))->modelDescription.size(), 100U);
    EXPECT_EQ(Node(USN(4)), nullptr);
    EXPECT_FALSE(registry.Changed());
}

TEST_F(RegistryBounds, DeviceCountsWithItsLastDescriptionOnly)
{
    for (int repeat = 0; repeat < 10; ++repeat) {
        registry.EnterDescription(LargeDevice(1, ssdp::kMaxKnownBytes / 8));
    }
    EXPECT_EQ(environment.TakeFaults(), Calls{});
    EXPECT_EQ(Enter(2), Calls{});
    EXPECT_NE(Node(USN(2)), nullptr);
}

TEST_F(RegistryBounds, ByebyeMakesRoomAtOnce)
{
    registry.EnterDescription(LargeDevice(1, ssdp::kMaxKnownBytes - 1000));
    Confirm(1);
    Byebye(USN(1));
    registry.EnterDescription(LargeDevice(2, ssdp::kMaxKnownBytes - 1000));
    EXPECT_EQ(environment.TakeFaults(), Calls{});
    EXPECT_NE(Node(USN(2)), nullptr);
}

TEST_F(RegistryBounds, ServiceCountsWithTheEscapesOfItsName)
{
    SSDPDeviceType service = Silent();
    service.hostName.assign(ssdp::kMaxKnownBytes / 8, '\x01'); // six bytes each
    AddNow(service);
    ASSERT_NE(Node(service.usn), nullptr);
    registry.EnterDescription(LargeDevice(1, ssdp::kMaxKnownBytes / 2));
    EXPECT_THAT(environment.TakeFaults(), ElementsAre(kLine));
    EXPECT_EQ(Node(USN(1)), nullptr);
}

TEST_F(RegistryBounds, ServiceThatIsAnnouncedOftenCountsOnce)
{
    SSDPDeviceType service = Own();
    service.hostName.assign(ssdp::kMaxKnownBytes / 8, 'x');
    AddNow(service);
    for (int period = 0; period < 10; ++period) {
        ASSERT_NE(Pass(30000), Calls{});
    }
    EXPECT_EQ(Enter(1), Calls{});
    EXPECT_NE(Node(USN(1)), nullptr);
}

TEST_F(RegistryBounds, RenamedServiceCountsWithItsLastNameOnly)
{
    for (char letter = 'a'; letter <= 'z'; ++letter) {
        SSDPDeviceType service = Silent();
        service.hostName.assign(ssdp::kMaxKnownBytes / 8, letter);
        AddNow(service);
        ASSERT_EQ(Node(service.usn)->hostName.front(), letter);
    }
    EXPECT_EQ(Enter(1), Calls{});
    EXPECT_NE(Node(USN(1)), nullptr);
}
