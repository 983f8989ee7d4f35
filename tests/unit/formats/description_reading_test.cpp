#include "formats/description_document.h"

#include "support/records.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

using formats::ReadDescription;

namespace {

std::string Response(const SSDPDeviceType &service, const std::string &fileName)
{
    const std::string document =
        formats::ComposeDescription(service, fileName, "http://www.vexwell.example/");
    return formats::ComposeGETResponse(document, document.size());
}

// A response with the elements of a test.
std::string ResponseWith(const std::string &elements)
{
    return "HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\nCONTENT-LENGTH: 0\r\n" + elements +
           "\r\n\r\n";
}

const std::string kNamed = "<friendlyName>studio-b</friendlyName><UDN>uuid:1-2</UDN>";

} // namespace

TEST(ReadDescription, ReadsBackWhatTheSystemWrites)
{
    SSDPDeviceType sent = Device("Lumen Plus", "192.0.2.20", "studio-b");
    sent.modelNumber = "0x10660002";
    sent.modelDescription = "4K encoder";
    sent.serialNumber = "4242";

    // Fields that the reader does not take from the document stay empty.
    SSDPDeviceType expected;
    expected.productName = "Lumen Plus";
    expected.modelName = "Lumen Plus";
    expected.modelNumber = "0x10660002";
    expected.modelDescription = "4K encoder";
    expected.ipAddress = "192.0.2.20";
    expected.hostName = "studio-b";
    expected.instance = "0";
    expected.usn = "uuid:65746500-Lumen Plus-192.0.2.20-0";
    expected.maxAge = "120";

    const auto read = ReadDescription(Response(sent, "lumen_plus_upnp_ssdp_1.xml"));
    ASSERT_TRUE(read);
    EXPECT_EQ(AllFields(*read), AllFields(expected));
}

TEST(ReadDescription, NeedsAFriendlyName)
{
    EXPECT_FALSE(ReadDescription(ResponseWith("<UDN>uuid:1-2</UDN>")));
    EXPECT_FALSE(ReadDescription(ResponseWith("<friendlyName>a<UDN>uuid:1-2</UDN>")));
    EXPECT_FALSE(ReadDescription(ResponseWith("</friendlyName><UDN>uuid:1-2</UDN>")));
    EXPECT_FALSE(ReadDescription(ResponseWith("<friendlyname>a</friendlyname><UDN>uuid:1</UDN>")));
    EXPECT_TRUE(ReadDescription(ResponseWith("<friendlyName></friendlyName><UDN>uuid:1</UDN>")));
}

TEST(ReadDescription, NeedsAUdnThatIsNotEmpty)
{
    const std::string name = "<friendlyName>a</friendlyName>";
    EXPECT_FALSE(ReadDescription(ResponseWith(name)));
    EXPECT_FALSE(ReadDescription(ResponseWith(name + "<UDN></UDN>")));
    EXPECT_FALSE(ReadDescription(ResponseWith(name + "<UDN>uuid:1-2")));
    EXPECT_TRUE(ReadDescription(ResponseWith(name + "<UDN>u</UDN>")));
}

TEST(ReadDescription, AnyOtherMissingElementIsAnEmptyField)
{
    const auto device = ReadDescription(ResponseWith(kNamed));
    ASSERT_TRUE(device);
    SSDPDeviceType expected;
    expected.hostName = "studio-b";
    expected.usn = "uuid:1-2";
    expected.instance = "2";
    expected.maxAge = "120";
    EXPECT_EQ(AllFields(*device), AllFields(expected));
}

TEST(ReadDescription, AValueExtendsFromTheFirstOccurrenceOfTheNameToItsNextClosingTag)
{
    // The reader searches for the bare name, without "<" and ">", and skips the byte after it.
    const auto device = ReadDescription("friendlyName:a</b></friendlyName UDN uuid:x-y-z</UDN");
    ASSERT_TRUE(device);
    EXPECT_EQ(device->hostName, "a</b>");
    EXPECT_EQ(device->usn, "uuid:x-y-z");
    EXPECT_EQ(device->instance, "z");

    const auto twice = ReadDescription(
        ResponseWith("<friendlyName>first</friendlyName><friendlyName>second</friendlyName>"
                     "<UDN>uuid:1-2</UDN><UDN>uuid:3-4</UDN>"));
    ASSERT_TRUE(twice);
    EXPECT_EQ(twice->hostName, "first");
    EXPECT_EQ(twice->usn, "uuid:1-2");
}

TEST(ReadDescription, TheInstanceIsTheTextAfterTheLastHyphenOfTheUdn)
{
    const auto instance = [](const std::string &udn) {
        const auto device =
            ReadDescription(ResponseWith("<friendlyName>a-b</friendlyName><UDN>" + udn + "</UDN>"));
        return device ? device->instance : "dropped";
    };
    EXPECT_EQ(instance("uuid:65746500-Lumen-192.0.2.20-17"), "17");
    EXPECT_EQ(instance("uuid:65746500-"), "");
    EXPECT_EQ(instance("uuid"), "");
}

TEST(ReadDescription, TheAddressIsThatOfThePresentationURL)
{
    const auto address = [](const std::string &url) {
        const auto device = ReadDescription(
            ResponseWith(kNamed + "<presentationURL>" + url + "</presentationURL>"));
        return device ? device->ipAddress : "dropped";
    };
    EXPECT_EQ(address("http://192.0.2.20:80/index.html"), "192.0.2.20");
    EXPECT_EQ(address(" http://192.0.2.20:80/index.html?x"), "192.0.2.20");
    EXPECT_EQ(address("http://:80/index.html"), "");
    EXPECT_EQ(address("https://192.0.2.20:80/index.html"), "");
    EXPECT_EQ(address("http://192.0.2.20/index.html"), "");
    EXPECT_EQ(address("http://192.0.2.20:80/"), "");
    EXPECT_EQ(address(":80/index.htmlhttp://"), "");
    EXPECT_EQ(address(""), "");
}

TEST(ReadDescription, TheModelNumberIsKeptUnchanged)
{
    const auto device =
        ReadDescription(ResponseWith(kNamed + "<modelNumber>0x2 any</modelNumber>"));
    ASSERT_TRUE(device);
    EXPECT_EQ(device->modelNumber, "0x2 any");
    EXPECT_EQ(device->boardID, "");
}

TEST(ReadDescription, TheMaxAgeIsThatOfTheResponse)
{
    const auto device =
        ReadDescription("HTTP/1.1 200 OK\r\nCACHE-CONTROL: max-age=300\r\n" + kNamed + "\r\n\r\n");
    ASSERT_TRUE(device);
    EXPECT_EQ(device->maxAge, "300");
}

TEST(ReadDescription, KeepsAllBytesOfAValue)
{
    const std::string hostName("a\0b\r\n\xff\x01", 7);
    const auto device = ReadDescription(
        ResponseWith("<friendlyName>" + hostName + "</friendlyName><UDN>uuid:1-2</UDN>"));
    ASSERT_TRUE(device);
    EXPECT_EQ(device->hostName, hostName);
}

TEST(ReadDescription, ReadsNothingBeyondAResponseCutAtAnyByte)
{
    const std::string response = Response(FullRecord(), "corvia_12_upnp_ssdp_1.xml");
    const std::size_t complete = response.find("</UDN") + 5;
    for (std::size_t size = 0; size <= response.size(); ++size) {
        const std::vector<char> exact(response.begin(),
                                      response.begin() + static_cast<std::ptrdiff_t>(size));
        const auto device = ReadDescription({exact.data(), exact.size()});
        ASSERT_EQ(device.has_value(), size >= complete) << size;
        if (device) {
            EXPECT_EQ(device->usn, FullRecord().usn);
        }
    }
}
