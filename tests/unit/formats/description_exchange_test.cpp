#include "formats/description_document.h"

#include "support/records.h"

#include <gtest/gtest.h>
#include <string>

using formats::AddressOfLocation;
using formats::RequestedName;

namespace {

std::string Address(std::string_view url)
{
    std::string address = "untouched";
    const bool found = AddressOfLocation(url, address);
    EXPECT_EQ(found, address != "untouched");
    return address;
}

} // namespace

TEST(AddressOfLocation, IsTheTextBetweenTheSchemeAndPort80)
{
    EXPECT_EQ(Address("http://192.0.2.20:80/lumen_upnp_ssdp_1.xml"), "192.0.2.20");
    EXPECT_EQ(Address("http://0.0.0.0:80/"), "0.0.0.0");
    EXPECT_EQ(Address("xhttp://a:80"), "a");
    EXPECT_EQ(Address("http://:80"), "");
    EXPECT_EQ(Address("http://192.0.2.20:8080/a.xml"), "192.0.2.20");
    EXPECT_EQ(Address("http://192.0.2.20/a:80"), "192.0.2.20/a");
}

TEST(AddressOfLocation, IsMissingWithoutTheSchemeOrAFollowingPort80)
{
    EXPECT_EQ(Address("http://192.0.2.20/a.xml"), "untouched");
    EXPECT_EQ(Address("https://192.0.2.20:80/a.xml"), "untouched");
    EXPECT_EQ(Address("HTTP://192.0.2.20:80/a.xml"), "untouched");
    EXPECT_EQ(Address(":80http://192.0.2.20"), "untouched");
    EXPECT_EQ(Address("http://"), "untouched");
    EXPECT_EQ(Address(""), "untouched");
}

TEST(GETRequest, HasTheWholeURLAsTargetAndNoSpaceAfterHost)
{
    EXPECT_EQ(
        formats::ComposeGETRequest("http://192.0.2.20:80/lumen_upnp_ssdp_1.xml", "192.0.2.20"),
        "GET http://192.0.2.20:80/lumen_upnp_ssdp_1.xml HTTP/1.1\r\n"
        "HOST:192.0.2.20:1900\r\n\r\n");
}

TEST(GETRequest, IsReadBackAsTheNameOfTheDocument)
{
    const std::string location = FullRecord().location;
    EXPECT_EQ(RequestedName(formats::ComposeGETRequest(location, Address(location))),
              "/corvia_12_upnp_ssdp_1.xml");
}

TEST(RequestedName, IsTheTextFromTheLastSlashBeforeTheFirstXmlToItsEnd)
{
    EXPECT_EQ(RequestedName("GET /a/b/c.xml HTTP/1.1\r\n"), "/c.xml");
    EXPECT_EQ(RequestedName("GET /a.xml?b.xml HTTP/1.1"), "/a.xml");
    EXPECT_EQ(RequestedName("GET /xml/a.xml HTTP/1.1"), "/xml");
    EXPECT_EQ(RequestedName("GET /a.xmlx"), "/a.xml");
    EXPECT_EQ(RequestedName("/xml"), "/xml");
}

TEST(RequestedName, IsEmptyWithoutASlashBeforeTheFirstXml)
{
    EXPECT_EQ(RequestedName("GET a.xml HTTP/1.1"), "");
    EXPECT_EQ(RequestedName("GET a.xml /b.xml"), "");
    EXPECT_EQ(RequestedName("GET /a.XML HTTP/1.1"), "");
    EXPECT_EQ(RequestedName("GET / HTTP/1.1"), "");
    EXPECT_EQ(RequestedName("xm"), "");
    EXPECT_EQ(RequestedName(""), "");
}

TEST(RequestedName, NeverNamesAFileOutsideTheFolder)
{
    EXPECT_EQ(RequestedName("GET http://192.0.2.10:80/../../etc/passwd.xml HTTP/1.1"),
              "/passwd.xml");
    for (const char *request :
         {"GET /../a.xml", "GET /..xml", "GET //a.xml", "GET /../../xml", "GET /%2e%2e/a.xml"}) {
        const std::string_view name = RequestedName(request);
        ASSERT_FALSE(name.empty()) << request;
        EXPECT_EQ(name.rfind('/'), 0U) << request;
        EXPECT_NE(name, "/..") << request;
    }
}

TEST(GETResponse, HasNoEmptyLineBetweenHeadersAndDocument)
{
    EXPECT_EQ(formats::ComposeGETResponse("<root>\n</root>\n", 15),
              "HTTP/1.1 200 OK\r\n"
              "CONTENT-LANGUAGE: en\r\n"
              "CONTENT-LENGTH: 15\r\n"
              "CONTENT-TYPE: text/xml; charset=\"utf-8\"\r\n"
              "<root>\n</root>\n"
              "\r\n\r\n");
}

TEST(GETResponse, HasTheGivenSizeEvenIfTheDocumentIsShorter)
{
    EXPECT_EQ(formats::ComposeGETResponse("", 4294967296U),
              "HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\nCONTENT-LENGTH: 4294967296\r\n"
              "CONTENT-TYPE: text/xml; charset=\"utf-8\"\r\n\r\n\r\n");
}
