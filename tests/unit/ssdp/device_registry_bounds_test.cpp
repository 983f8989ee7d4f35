#include "registry_fixture.h"

// The bound against a hostile network: how many devices may be heard.

namespace {

constexpr int kBound = 4096;
const char *const kLine =
    "ProcessDescriptionResponse: Too many devices, dropping what comes more\n";

class RegistryBounds : public RegistryFixture
{
protected:
    static SSDPDeviceType Numbered(int number)
    {
        return Described(Device("Lumen", "198.51.100.1", "peer" + std::to_string(number)));
    }

    static std::string USN(int number) { return "uuid:65746500-Lumen-" + std::to_string(number); }

    // A device's description arrives; what that writes to standard error.
    std::string Enter(int number)
    {
        SSDPDeviceType device = Numbered(number);
        device.usn = USN(number);
        return test::Capture([&] { registry.EnterDescription(device); }).err;
    }

    // A description with a value of many bytes.
    static SSDPDeviceType Swollen(int number, std::size_t bytes)
    {
        SSDPDeviceType device = Numbered(number);
        device.usn = USN(number);
        device.modelDescription.assign(bytes, 'x');
        return device;
    }

    void Fill()
    {
        const test::Output output = test::Capture([this] {
            for (int number = 0; number < kBound; ++number) {
                SSDPDeviceType device = Numbered(number);
                device.usn = USN(number);
                registry.EnterDescription(device);
            }
        });
        ASSERT_EQ(output.err, "");
    }
};

} // namespace

TEST_F(RegistryBounds, AreTheseNumbers)
{
    EXPECT_EQ(ssdp::kMaxHeardNodes, 4096U);
    Fill();
    EXPECT_EQ(registry.NodeList().size(), 4096U);
}

TEST_F(RegistryBounds, WhatIsOverTheBoundIsDroppedAndReportedOnce)
{
    Fill();
    ForgetChange();
    EXPECT_EQ(Enter(kBound), kLine);
    EXPECT_EQ(Enter(kBound + 1), "");
    EXPECT_EQ(Enter(kBound), "");
    EXPECT_EQ(registry.NodeList().size(), 4096U);
    EXPECT_EQ(Node(USN(kBound)), nullptr);
    EXPECT_FALSE(registry.Changed());
}

// Otherwise byebyes between descriptions would write a line for each pair of datagrams.
TEST_F(RegistryBounds, IsNotReportedAgainForEveryDeviceThatMakesRoomForOne)
{
    Fill();
    EXPECT_EQ(Enter(kBound), kLine);
    for (int number = 0; number < 3; ++number) {
        Byebye(USN(number));
        EXPECT_EQ(Enter(kBound + number), "");
        EXPECT_NE(Node(USN(kBound + number)), nullptr);
        EXPECT_EQ(Enter(kBound + 10), "");
        EXPECT_EQ(Node(USN(kBound + 10)), nullptr);
    }
}

TEST_F(RegistryBounds, IsReportedAgainAfterLessThanHalfWasLeft)
{
    Fill();
    EXPECT_EQ(Enter(kBound), kLine);
    for (int number = 0; number <= kBound / 2; ++number) {
        Byebye(USN(number));
    }
    Fill();
    EXPECT_EQ(Enter(kBound), kLine);
    EXPECT_EQ(Enter(kBound), "");
}

TEST_F(RegistryBounds, AKnownDeviceIsRenewedAllTheSame)
{
    Fill();
    ForgetChange();
    SSDPDeviceType renamed = Numbered(7);
    renamed.usn = USN(7);
    renamed.hostName = "renamed";
    const test::Output output = test::Capture([&] { registry.EnterDescription(renamed); });
    EXPECT_EQ(output.err, "");
    EXPECT_EQ(Node(USN(7))->hostName, "renamed");
    EXPECT_TRUE(registry.Changed());
}

TEST_F(RegistryBounds, AnnouncedServicesDoNotCount)
{
    AddNow(Own());
    TakeOver(Silent());
    Fill();
    EXPECT_EQ(registry.NodeList().size(), 4098U);
    EXPECT_EQ(Enter(kBound), kLine);
}

TEST_F(RegistryBounds, AnAnnouncedServiceWhoseNodeIsGoneMakesNoRoom)
{
    AddNow(Own());
    Byebye(Own().usn);
    Fill();
    EXPECT_EQ(registry.NodeList().size(), 4096U);
    EXPECT_EQ(Enter(kBound), kLine);
}

TEST_F(RegistryBounds, AFullRegistryDoesNotKeepAServiceFromBeingAnnounced)
{
    Fill();
    EXPECT_EQ(AddNow(Own()).size(), 2U);
    EXPECT_NE(Node(Own().usn), nullptr);
    EXPECT_EQ(Enter(kBound), kLine);
}

TEST_F(RegistryBounds, AFullRegistryEmptiesWithTime)
{
    Fill();
    EXPECT_EQ(Enter(kBound), kLine);
    Pass(120000);
    EXPECT_TRUE(registry.NodeList().empty());
    EXPECT_EQ(Enter(kBound), "");
}

TEST_F(RegistryBounds, TextsOfAllDevicesAreBoundedTogether)
{
    EXPECT_EQ(ssdp::kMaxHeardBytes, 2097152U);
    const test::Output output = test::Capture([this] {
        for (int number = 0; number < 300; ++number) {
            registry.EnterDescription(Swollen(number, 8192));
            registry.EnterDescription(Swollen(number + 1000, 1));
        }
    });
    EXPECT_EQ(output.err, kLine);
    std::size_t bytes = 0;
    for (const auto &node : registry.NodeList()) {
        bytes += node.second.modelDescription.size();
    }
    // 8192 bytes of 256 devices, less what the other texts of theirs and of as many small
    // ones take, and at most one more than the bound.
    EXPECT_GT(bytes, 240U * 8192);
    EXPECT_LT(bytes, ssdp::kMaxHeardBytes);
}

TEST_F(RegistryBounds, AKnownDeviceIsDescribedAnewWithinThemAndMayNotGrowOverThem)
{
    registry.EnterDescription(Swollen(1, 100));
    registry.EnterDescription(Swollen(1, 9000));
    EXPECT_EQ(Node(USN(1))->modelDescription.size(), 9000U);
    registry.EnterDescription(Swollen(2, ssdp::kMaxHeardBytes));
    const std::string lines = test::Capture([this] {
                                  registry.EnterDescription(Swollen(1, 9001));
                                  registry.EnterDescription(Swollen(1, 20000));
                              }).err;
    EXPECT_EQ(lines, kLine);
    EXPECT_EQ(Node(USN(1))->modelDescription.size(), 9000U);
    registry.EnterDescription(Swollen(1, 50));
    EXPECT_EQ(Node(USN(1))->modelDescription.size(), 50U);
}

TEST_F(RegistryBounds, TextsOfADeviceThatHasGoneMakeRoomAtTheNextPass)
{
    registry.EnterDescription(Swollen(1, ssdp::kMaxHeardBytes));
    Byebye(USN(1));
    registry.UpdateContainers(5000);
    const std::string lines =
        test::Capture([this] { registry.EnterDescription(Swollen(2, 1)); }).err;
    EXPECT_EQ(lines, "");
    EXPECT_NE(Node(USN(2)), nullptr);
}
