#include "formats/browse_document.h"

#include <gtest/gtest.h>

using formats::ComposeBrowseDocument;

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

// What a host name comes out as between the quotes.
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

} // namespace

TEST(BrowseDocument, OfNoDeviceIsAnEmptyArray)
{
    EXPECT_EQ(ComposeBrowseDocument({}), "[]");
}

TEST(BrowseDocument, OfADeviceIsOneLineWithoutBlanks)
{
    EXPECT_EQ(ComposeBrowseDocument({{"usn", Encoder()}}), Bracketed(kEncoder));
}

TEST(BrowseDocument, HasEveryKeyForADeviceWithoutFields)
{
    EXPECT_EQ(ComposeBrowseDocument({{"usn", {}}}), Bracketed(kEmpty));
}

TEST(BrowseDocument, SeparatesDevicesByABareComma)
{
    EXPECT_EQ(ComposeBrowseDocument({{"a", Encoder()}, {"b", {}}}),
              Bracketed(std::string(kEncoder) + "," + kEmpty));
}

TEST(BrowseDocument, OrdersDevicesByTheBytesOfTheirKeys)
{
    SSDPDeviceMap devices;
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

TEST(BrowseDocument, EscapesWhatHasAShortForm)
{
    EXPECT_EQ(Encoded("a\"b\\c"), R"(a\"b\\c)");
    EXPECT_EQ(Encoded("\b\f\n\r\t"), R"(\b\f\n\r\t)");
}

TEST(BrowseDocument, EscapesOtherControlBytesByTheirNumber)
{
    EXPECT_EQ(Encoded("\x01\x0B\x1B\x1F"), R"(\u0001\u000b\u001b\u001f)");
    EXPECT_EQ(Encoded(std::string("a\0b", 3)), R"(a\u0000b)");
}

TEST(BrowseDocument, PassesEveryByteFrom0x20Upwards)
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
