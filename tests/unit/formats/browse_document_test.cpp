#include "formats/browse_document.h"

#include "support/records.h"

#include <array>
#include <gtest/gtest.h>
#include <string>

using formats::AreListedAlike;
using formats::ComposeBrowseDocument;
using formats::SizeOfBrowseObject;
using formats::SizeOfPlainBrowseObject;

namespace {

SSDPDeviceType Encoder()
{
    SSDPDeviceType device;
    device.productName = "Vexwell Devices Encoder";
    device.modelName = "Studio A";
    device.modelNumber = "not shown";
    device.modelDescription = "4K encoder";
    device.serialNumber = "not shown";
    device.ipAddress = "192.0.2.20";
    device.hostName = "studio-a";
    device.instance = "2";
    device.boardID = "0x12345678";
    device.notificationType = "not shown";
    device.urlScheme = "https://";
    device.location = "http://192.0.2.20:8080/not-shown.xml";
    return device;
}

constexpr const char *kEncoder =
    R"({"serviceDescription":"Vexwell Devices Encoder","serviceType":"_http._tcp",)"
    R"("serviceDomain":"local","hostName":"studio-a","ipAddress":"192.0.2.20","port":80,)"
    R"("deviceName":"Studio A","description":"4K encoder","boardType":"Studio A",)"
    R"("boardNumber":"2","boardID":"0x12345678"})";

constexpr const char *kEmpty =
    R"({"serviceDescription":"","serviceType":"_http._tcp","serviceDomain":"local",)"
    R"("hostName":"","ipAddress":"","port":80,"deviceName":"","description":"",)"
    R"("boardType":"","boardNumber":"","boardID":""})";

std::string Bracketed(const std::string &objects)
{
    return "[" + objects + "]";
}

// A host name as the document has it between the quotes.
std::string Encoded(const std::string &hostName)
{
    SSDPDeviceType device;
    device.hostName = hostName;
    const std::string document = ComposeBrowseDocument({{"usn", device}});
    const std::string before = "\"hostName\":\"";
    const std::string after = "\",\"ipAddress\"";
    const std::size_t start = document.find(before) + before.size();
    return document.substr(start, document.find(after) - start);
}

using Field = std::string SSDPDeviceType::*;

constexpr std::array<Field, 7> kListed{
    &SSDPDeviceType::productName,      &SSDPDeviceType::modelName, &SSDPDeviceType::hostName,
    &SSDPDeviceType::modelDescription, &SSDPDeviceType::ipAddress, &SSDPDeviceType::instance,
    &SSDPDeviceType::boardID,
};
constexpr std::array<Field, 10> kUnlisted{
    &SSDPDeviceType::modelNumber, &SSDPDeviceType::serialNumber,
    &SSDPDeviceType::urlScheme,   &SSDPDeviceType::notificationType,
    &SSDPDeviceType::reserved,    &SSDPDeviceType::usn,
    &SSDPDeviceType::maxAge,      &SSDPDeviceType::location,
    &SSDPDeviceType::server,      &SSDPDeviceType::descriptionFileName,
};

std::string AllBytes()
{
    std::string bytes;
    for (int byte = 0; byte <= 0xFF; ++byte) {
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

} // namespace

TEST(BrowseDocument, OfNoDeviceIsAnEmptyArray)
{
    EXPECT_EQ(ComposeBrowseDocument({}), "[]");
}

TEST(BrowseDocument, OfADeviceIsOneLineWithoutSpaces)
{
    EXPECT_EQ(ComposeBrowseDocument({{"usn", Encoder()}}), Bracketed(kEncoder));
}

TEST(BrowseDocument, HasEveryKeyForADeviceWithoutFields)
{
    EXPECT_EQ(ComposeBrowseDocument({{"usn", {}}}), Bracketed(kEmpty));
}

TEST(BrowseDocument, SeparatesDevicesByACommaWithoutSpaces)
{
    EXPECT_EQ(ComposeBrowseDocument({{"a", Encoder()}, {"b", {}}}),
              Bracketed(std::string(kEncoder) + "," + kEmpty));
}

TEST(BrowseDocument, OrdersDevicesByTheBytesOfTheirKeys)
{
    formats::SSDPDeviceMap devices;
    for (const char *key : {"b", "\xC3\xA9", "a-10", "a-1", "B", "a-2"}) {
        devices[key].hostName = key;
    }
    const std::string document = ComposeBrowseDocument(devices);
    std::size_t at = 0;
    for (const char *key : {"B", "a-1", "a-10", "a-2", "b", "\xC3\xA9"}) {
        const std::size_t next = document.find("\"hostName\":\"" + std::string(key) + "\"");
        ASSERT_NE(next, std::string::npos) << key;
        EXPECT_GE(next, at) << key;
        at = next;
    }
}

TEST(BrowseDocument, RepeatsTheDeviceNameAsBoardType)
{
    SSDPDeviceType device = Encoder();
    device.modelName = "Lumen \"Plus\"";
    const std::string document = ComposeBrowseDocument({{"usn", device}});
    EXPECT_NE(document.find(R"("deviceName":"Lumen \"Plus\"",)"), std::string::npos);
    EXPECT_NE(document.find(R"("boardType":"Lumen \"Plus\"",)"), std::string::npos);
}

TEST(BrowseDocument, EscapesInEveryField)
{
    SSDPDeviceType device;
    for (std::string *field :
         {&device.productName, &device.hostName, &device.ipAddress, &device.modelName,
          &device.modelDescription, &device.instance, &device.boardID}) {
        *field = "\"";
    }
    EXPECT_EQ(ComposeBrowseDocument({{"usn", device}}),
              R"([{"serviceDescription":"\"","serviceType":"_http._tcp","serviceDomain":"local",)"
              R"("hostName":"\"","ipAddress":"\"","port":80,"deviceName":"\"",)"
              R"("description":"\"","boardType":"\"","boardNumber":"\"","boardID":"\""}])");
}

TEST(BrowseDocument, UsesTheShortEscapes)
{
    EXPECT_EQ(Encoded("a\"b\\c"), R"(a\"b\\c)");
    EXPECT_EQ(Encoded("\b\f\n\r\t"), R"(\b\f\n\r\t)");
}

TEST(BrowseDocument, EscapesOtherControlBytesAsFourDigits)
{
    EXPECT_EQ(Encoded("\x01\x0B\x1B\x1F"), R"(\u0001\u000b\u001b\u001f)");
    EXPECT_EQ(Encoded(std::string("a\0b", 3)), R"(a\u0000b)");
}

TEST(BrowseDocument, CopiesEveryByteFrom0x20ExceptQuotesAndBackslashes)
{
    std::string bytes;
    for (int byte = 0x20; byte <= 0xFF; ++byte) {
        if (byte != '"' && byte != '\\') {
            bytes += static_cast<char>(byte);
        }
    }
    EXPECT_EQ(Encoded(bytes), bytes);
    EXPECT_EQ(Encoded("a/b \xC3\xA9"), "a/b \xC3\xA9");
}

// A document that grew while it was composed would be in memory twice.
TEST(BrowseDocument, TakesNoMoreMemoryThanItsSize)
{
    formats::SSDPDeviceMap devices;
    for (int number = 0; number < 100; ++number) {
        devices[std::to_string(number)].hostName = std::string(static_cast<std::size_t>(number), 1);
        const std::string document = ComposeBrowseDocument(devices);
        EXPECT_EQ(document.capacity(), document.size()) << number;
    }
}

// The document of one device is its object in brackets; the size counts a comma.
TEST(SizeOfBrowseObject, IsTheSizeOfTheObjectAndAComma)
{
    EXPECT_EQ(SizeOfBrowseObject({}), std::string(kEmpty).size() + 1);
    EXPECT_EQ(SizeOfBrowseObject(Encoder()), std::string(kEncoder).size() + 1);
    EXPECT_EQ(SizeOfBrowseObject(FullRecord()),
              ComposeBrowseDocument({{"usn", FullRecord()}}).size() - 1);
}

TEST(SizeOfBrowseObject, CountsEveryByteOfEveryFieldInItsEscapedSize)
{
    for (const Field field : kListed) {
        for (const char byte : AllBytes()) {
            SSDPDeviceType device;
            device.*field = byte;
            EXPECT_EQ(SizeOfBrowseObject(device),
                      ComposeBrowseDocument({{"usn", device}}).size() - 1)
                << static_cast<int>(byte);
        }
    }
}

TEST(SizeOfBrowseObject, CountsTheModelNameTwiceAndAControlByteSixfold)
{
    SSDPDeviceType device;
    device.modelName = std::string(1300, '\x01');
    EXPECT_EQ(SizeOfBrowseObject(device), SizeOfBrowseObject({}) + 1300U * 6 * 2);
}

TEST(SizeOfBrowseObject, DoesNotCountFieldsThatAreNotListed)
{
    SSDPDeviceType device;
    for (const Field field : kUnlisted) {
        device.*field = AllBytes();
    }
    EXPECT_EQ(SizeOfBrowseObject(device), std::string(kEmpty).size() + 1);
}

TEST(SizeOfPlainBrowseObject, IsTheSizeOfAnObjectWithoutEscapes)
{
    EXPECT_EQ(SizeOfPlainBrowseObject({}), SizeOfBrowseObject({}));
    EXPECT_EQ(SizeOfPlainBrowseObject(Encoder()), std::string(kEncoder).size() + 1);
    SSDPDeviceType device = Encoder();
    device.hostName += "\x01\"\\";
    EXPECT_EQ(SizeOfPlainBrowseObject(device), std::string(kEncoder).size() + 1 + 3);
    EXPECT_EQ(SizeOfBrowseObject(device), std::string(kEncoder).size() + 1 + 6 + 2 + 2);
}

TEST(SizeOfBrowseObject, OfAllDevicesAndABracketIsTheSizeOfTheDocument)
{
    formats::SSDPDeviceMap devices{{"a", Encoder()}, {"b", {}}, {"c", FullRecord()}};
    devices["d"].hostName = AllBytes();
    std::size_t size = 1;
    for (const auto &[usn, device] : devices) {
        size += SizeOfBrowseObject(device);
    }
    EXPECT_EQ(size, ComposeBrowseDocument(devices).size());
}

TEST(AreListedAlike, IsTrueIfOnlyFieldsThatAreNotListedDiffer)
{
    const SSDPDeviceType device = FullRecord();
    SSDPDeviceType other = device;
    EXPECT_TRUE(AreListedAlike(device, other));
    for (const Field field : kUnlisted) {
        other.*field = "other";
    }
    ++other.timerPeriod;
    ++other.timerCountdown;
    ++other.repeatCount;
    ++other.flag;
    EXPECT_TRUE(AreListedAlike(device, other));
    EXPECT_EQ(ComposeBrowseDocument({{"usn", device}}), ComposeBrowseDocument({{"usn", other}}));
}

TEST(AreListedAlike, IsFalseIfAnyListedTextDiffers)
{
    for (const Field field : kListed) {
        const SSDPDeviceType device = FullRecord();
        SSDPDeviceType other = device;
        other.*field += ' ';
        EXPECT_FALSE(AreListedAlike(device, other)) << other.*field;
        EXPECT_FALSE(AreListedAlike(other, device)) << other.*field;
    }
}

TEST(AreListedAlike, DistinguishesATextFromItsEscapedForm)
{
    SSDPDeviceType device;
    device.hostName = "\n";
    SSDPDeviceType other;
    other.hostName = "\\n";
    EXPECT_FALSE(AreListedAlike(device, other));
}
