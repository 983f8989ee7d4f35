#include "formats/browse_document.h"

#include <gtest/gtest.h>

using formats::AreListedAlike;
using formats::ComposeBrowseDocument;
using formats::CopyBrowseDocument;
using formats::ReadBrowseDocument;

namespace {

std::string ErrorOf(const std::string &text)
{
    std::vector<SSDPDeviceType> devices(1);
    std::string error;
    EXPECT_FALSE(ReadBrowseDocument(text, devices, error));
    EXPECT_EQ(devices.size(), 1U); // unchanged
    return error;
}

std::string HostNameIn(const std::string &text)
{
    std::vector<SSDPDeviceType> devices;
    std::string error;
    EXPECT_TRUE(ReadBrowseDocument(text, devices, error)) << error;
    return devices.size() == 1 ? devices[0].hostName : "";
}

formats::SSDPDeviceMap Two()
{
    formats::SSDPDeviceMap devices;
    devices["a"].hostName = "studio-a";
    devices["a"].ipAddress = "192.0.2.10";
    devices["a"].modelName = "Corvia 12";
    devices["a"].modelDescription = "HD recorder";
    devices["a"].boardID = "0x10650001";
    devices["b"].productName = "\"\\\n\x01\xc3\xa9";
    devices["b"].instance = "7";
    return devices;
}

} // namespace

TEST(ReadBrowseDocument, ReadsBackTheDocumentOfTheDaemon)
{
    const formats::SSDPDeviceMap written = Two();
    std::vector<SSDPDeviceType> devices;
    std::string error;
    ASSERT_TRUE(ReadBrowseDocument(ComposeBrowseDocument(written), devices, error)) << error;
    ASSERT_EQ(devices.size(), 2U);
    EXPECT_TRUE(AreListedAlike(devices[0], written.at("a")));
    EXPECT_TRUE(AreListedAlike(devices[1], written.at("b")));
    ASSERT_TRUE(ReadBrowseDocument(ComposeBrowseDocument({}), devices, error));
    EXPECT_TRUE(devices.empty());
}

TEST(ReadBrowseDocument, ReplacesEachByteThatIsNotUtf8)
{
    EXPECT_EQ(HostNameIn("[{\"hostName\":\"a\xff\"}]"), "a\xef\xbf\xbd");
    EXPECT_EQ(HostNameIn("[{\"hostName\":\"\xe6\x97z\"}]"), "\xef\xbf\xbd\xef\xbf\xbdz");
}

TEST(ReadBrowseDocument, ReadsAValueThatIsNoStringAsAnEmptyField)
{
    EXPECT_EQ(HostNameIn(R"([{"hostName":80}])"), "");
    EXPECT_EQ(HostNameIn(R"([{"hostName":["x"],"other":{"hostName":"x"}}])"), "");
    EXPECT_EQ(HostNameIn(R"([{}])"), "");
}

TEST(ReadBrowseDocument, NamesTheFaultInOneLine)
{
    EXPECT_EQ(ErrorOf(""), "invalid JSON at byte 1");
    EXPECT_EQ(ErrorOf("[{\"hostName\":\"studio"), "invalid JSON at byte 21");
    EXPECT_EQ(ErrorOf("<html>"), "invalid JSON at byte 1");
    EXPECT_EQ(ErrorOf("[{}]x"), "invalid JSON at byte 5");
    EXPECT_EQ(ErrorOf("[1e999]"), "invalid JSON: a number is too large");
    EXPECT_EQ(ErrorOf("{}"), "not a browse list: not a JSON array");
    EXPECT_EQ(ErrorOf("[1]"), "not a browse list: an element is not an object");
    EXPECT_EQ(ErrorOf("[[]]"), "not a browse list: an element is not an object");
    EXPECT_EQ(ErrorOf(std::string(100000, '[') + std::string(100000, ']')),
              "not a browse list: an element is not an object");
}

TEST(CopyBrowseDocument, KeepsTheMembersOfEveryObjectInAlphabeticalOrder)
{
    std::string copy;
    std::string error;
    ASSERT_TRUE(CopyBrowseDocument(ComposeBrowseDocument(Two()), copy, error)) << error;
    EXPECT_EQ(copy,
              R"([{"boardID":"0x10650001","boardNumber":"","boardType":"Corvia 12",)"
              R"("description":"HD recorder","deviceName":"Corvia 12","hostName":"studio-a",)"
              R"("ipAddress":"192.0.2.10","port":80,"serviceDescription":"",)"
              R"("serviceDomain":"local","serviceType":"_http._tcp"},)"
              R"({"boardID":"","boardNumber":"7","boardType":"","description":"","deviceName":"",)"
              R"("hostName":"","ipAddress":"","port":80,"serviceDescription":"\"\\\n\u0001)"
              "\xc3\xa9"
              R"(","serviceDomain":"local","serviceType":"_http._tcp"}])");
    ASSERT_TRUE(CopyBrowseDocument("[]", copy, error));
    EXPECT_EQ(copy, "[]");
}

TEST(CopyBrowseDocument, KeepsUnknownMembersExceptArraysAndReplacesBytesThatAreNotUtf8)
{
    std::string copy;
    std::string error;
    ASSERT_TRUE(
        CopyBrowseDocument("[ {\"new\":\"a\xff\",\"flag\":true,\"deep\":[1]} ]\n", copy, error))
        << error;
    EXPECT_EQ(copy, "[{\"flag\":true,\"new\":\"a\xef\xbf\xbd\"}]");
}

TEST(CopyBrowseDocument, NamesTheFaultLikeTheReader)
{
    std::string copy = "unchanged";
    std::string error;
    for (const char *text : {"", "{}", "[1]", "[1e999]"}) {
        EXPECT_FALSE(CopyBrowseDocument(text, copy, error));
        EXPECT_EQ(error, ErrorOf(text));
    }
    EXPECT_EQ(copy, "unchanged");
}
