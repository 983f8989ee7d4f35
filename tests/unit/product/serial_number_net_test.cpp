#include "product/serial_number.h"

#include "support/capture.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

namespace {

struct Serial
{
    std::string formatted;
    std::string clean;
    std::uint32_t number;
};

// All forms of the serial number with a given /proc/device-tree. The real /proc is hidden
// only during the calls, because the sanitizers need it.
Serial ReadOnDevice(const std::function<void()> &makeTree)
{
    EXPECT_EQ(mount("tmpfs", "/proc", "tmpfs", 0, "mode=755"), 0);
    makeTree();
    Serial serial;
    const test::Output output = test::Capture([&serial] {
        serial = {SerialNumber::GetFormattedSerialNumber(), getCleanSerialNumber(),
                  SerialNumber::GetSerialNumber()};
    });
    EXPECT_EQ(umount("/proc"), 0);
    EXPECT_EQ(output.out + output.err, "");
    return serial;
}

Serial Stored(const std::string &property)
{
    return ReadOnDevice([&property] {
        EXPECT_EQ(mkdir("/proc/device-tree", 0755), 0);
        std::ofstream("/proc/device-tree/serial-number") << property;
    });
}

std::string WithNul(const char *text)
{
    return text + std::string(1, '\0');
}

void ExpectDefault(const Serial &serial)
{
    EXPECT_EQ(serial.formatted, "1HE000000");
    EXPECT_EQ(serial.clean, "1HE000000");
    EXPECT_EQ(serial.number, 0U);
}

} // namespace

TEST(SerialNumber, IsTheDeviceTreesTextWithoutItsNul)
{
    const Serial serial = Stored(WithNul("1HE000123"));
    EXPECT_EQ(serial.formatted, "1HE000123");
    EXPECT_EQ(serial.clean, "1HE000123");
    EXPECT_EQ(serial.number, 123U);
}

TEST(SerialNumber, ItsNumberBeginsAfterTheLastCharacterThatIsNoDigit)
{
    for (const char *text : {"1HE~123", "1HE 123", "1HE-123", "4/123", "5:0123"}) {
        EXPECT_EQ(Stored(WithNul(text)).number, 123U) << text;
    }
}

TEST(SerialNumber, NeedsNoNul)
{
    EXPECT_EQ(Stored("1HE000123").formatted, "1HE000123");
}

TEST(SerialNumber, EndsAtTheFirstNul)
{
    EXPECT_EQ(Stored(WithNul("1HE7") + WithNul("1HE8")).formatted, "1HE7");
}

TEST(SerialNumber, HasADefaultWithoutDeviceTree)
{
    ExpectDefault(ReadOnDevice([] {}));
}

TEST(SerialNumber, HasADefaultForAnEmptyFile)
{
    ExpectDefault(Stored(""));
}

TEST(SerialNumber, HasADefaultForAnUnreadableFile)
{
    ExpectDefault(ReadOnDevice([] {
        EXPECT_EQ(mkdir("/proc/device-tree", 0755), 0);
        EXPECT_EQ(mkdir("/proc/device-tree/serial-number", 0755), 0);
    }));
}

TEST(SerialNumber, IsEmptyIfTheFileHasOnlyANul)
{
    const Serial serial = Stored(WithNul(""));
    EXPECT_EQ(serial.formatted, "");
    EXPECT_EQ(serial.clean, "");
    EXPECT_EQ(serial.number, 0U);
}

TEST(SerialNumber, KeepsASpaceAtItsEndThatTheCleanFormDrops)
{
    const Serial serial = Stored(WithNul("1XY004200 "));
    EXPECT_EQ(serial.formatted, "1XY004200 ");
    EXPECT_EQ(serial.clean, "1XY004200");
    EXPECT_EQ(serial.number, 0U);
}

TEST(SerialNumber, CleanFormDropsSpacesAtTheEndOnly)
{
    EXPECT_EQ(Stored("  1XY 42   ").clean, "  1XY 42");
    EXPECT_EQ(Stored("1XY42\n").clean, "1XY42\n");
    EXPECT_EQ(Stored("1XY42\t ").clean, "1XY42\t");
    EXPECT_EQ(Stored("    ").clean, "");
}

TEST(SerialNumber, NumberIsTheRunOfDigitsAtTheEnd)
{
    EXPECT_EQ(Stored("12AB0034").number, 34U);
    EXPECT_EQ(Stored("00042").number, 42U);
    EXPECT_EQ(Stored("1HE000120").number, 120U);
    EXPECT_EQ(Stored("-7").number, 7U);
    EXPECT_EQ(Stored("1HE").number, 0U);
    EXPECT_EQ(Stored("1HE000123\n").number, 0U);
}

TEST(SerialNumber, NumberIsAtMostTheLargestOf32Bits)
{
    EXPECT_EQ(Stored("X4294967295").number, 4294967295U);
    EXPECT_EQ(Stored("X4294967296").number, 4294967295U);
    EXPECT_EQ(Stored(std::string(63, '9')).number, 4294967295U);
}

TEST(SerialNumber, UsesTheFirst63BytesOfALongFile)
{
    const std::string first = std::string(61, 'A') + "17";
    const Serial serial = Stored(first + "89" + std::string(100000, '5'));
    EXPECT_EQ(serial.formatted, first);
    EXPECT_EQ(serial.clean, first);
    EXPECT_EQ(serial.number, 17U);
    EXPECT_EQ(Stored(first).formatted, first);
}

TEST(SerialNumber, BoardIDIsTheSameOnEveryDevice)
{
    EXPECT_EQ(SerialNumber::GetBoardID(), "11001300");
}
