#include "formats/ssdp_messages.h"

#include "support/records.h"

#include <gtest/gtest.h>

using formats::SearchResponse;

namespace {

SearchResponse ReadUSN(std::string_view response, std::string_view &usn)
{
    return formats::ReadSearchResponseUSN(response, usn);
}

} // namespace

TEST(SsdpMessages, AliveIsThisText)
{
    EXPECT_EQ(formats::ComposeAlive(FullRecord()),
              "NOTIFY * HTTP/1.1\r\n"
              "HOST: 239.255.255.250:1900\r\n"
              "NT: upnp:rootdevice\r\n"
              "NTS: ssdp:alive\r\n"
              "LOCATION: http://192.0.2.10:80/corvia_12_upnp_ssdp_1.xml\r\n"
              "USN: uuid:65746500-Corvia 12-192.0.2.10-0\r\n"
              "CACHE-CONTROL: max-age=1800\r\n"
              "SERVER: Linux/2.6, UPnP/1.0, SSDP/1.0\r\n"
              "\r\n");
}

TEST(SsdpMessages, GoodbyeHasTheSameNtLocationAndUsnButNoCacheControlAndServer)
{
    EXPECT_EQ(formats::ComposeGoodbye(FullRecord()),
              "NOTIFY * HTTP/1.1\r\n"
              "HOST: 239.255.255.250:1900\r\n"
              "NT: upnp:rootdevice\r\n"
              "NTS: ssdp:byebye\r\n"
              "LOCATION: http://192.0.2.10:80/corvia_12_upnp_ssdp_1.xml\r\n"
              "USN: uuid:65746500-Corvia 12-192.0.2.10-0\r\n"
              "\r\n");
}

TEST(SsdpMessages, SearchRequestHasNoSpacesAfterItsColons)
{
    EXPECT_EQ(formats::ComposeSearchRequest("upnp:rootdevice"), "M-SEARCH * HTTP/1.1\r\n"
                                                                "HOST:239.255.255.250:1900\r\n"
                                                                "ST:upnp:rootdevice\r\n"
                                                                "MAN:\"ssdp:discover\"\r\n"
                                                                "MX:3\r\n"
                                                                "\r\n");
}

TEST(SsdpMessages, SearchRequestOfToolsIsTheTextOfTheStandard)
{
    EXPECT_EQ(formats::ComposeStandardSearchRequest("ssdp:all"), "M-SEARCH * HTTP/1.1\r\n"
                                                                 "HOST: 239.255.255.250:1900\r\n"
                                                                 "MAN: \"ssdp:discover\"\r\n"
                                                                 "MX: 3\r\n"
                                                                 "ST: ssdp:all\r\n"
                                                                 "\r\n");
}

TEST(SsdpMessages, SearchResponseHasAnEmptyExtAndTheTypeOfTheService)
{
    EXPECT_EQ(formats::ComposeSearchResponse(FullRecord()),
              "HTTP/1.1 200 OK\r\n"
              "CACHE-CONTROL: max-age=1800\r\n"
              "EXT:\r\n"
              "LOCATION: http://192.0.2.10:80/corvia_12_upnp_ssdp_1.xml\r\n"
              "SERVER: Linux/2.6, UPnP/1.0, SSDP/1.0\r\n"
              "ST: upnp:rootdevice\r\n"
              "USN: uuid:65746500-Corvia 12-192.0.2.10-0\r\n"
              "\r\n");
}

TEST(SsdpMessages, AnEmptyFieldLeavesAHeaderWithoutValue)
{
    const SSDPDeviceType empty;
    EXPECT_EQ(formats::ComposeAlive(empty),
              "NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: \r\nNTS: ssdp:alive\r\n"
              "LOCATION: \r\nUSN: \r\nCACHE-CONTROL: max-age=\r\nSERVER: \r\n\r\n");
    EXPECT_EQ(formats::ComposeGoodbye(empty),
              "NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: \r\nNTS: ssdp:byebye\r\n"
              "LOCATION: \r\nUSN: \r\n\r\n");
    EXPECT_EQ(formats::ComposeSearchResponse(empty),
              "HTTP/1.1 200 OK\r\nCACHE-CONTROL: max-age=\r\nEXT:\r\nLOCATION: \r\nSERVER: \r\n"
              "ST: \r\nUSN: \r\n\r\n");
    EXPECT_EQ(formats::ComposeSearchRequest(""),
              "M-SEARCH * HTTP/1.1\r\nHOST:239.255.255.250:1900\r\nST:\r\n"
              "MAN:\"ssdp:discover\"\r\nMX:3\r\n\r\n");
}

TEST(SsdpMessages, FieldsAreInsertedUnchanged)
{
    SSDPDeviceType service;
    service.notificationType = std::string("a\0b", 3);
    service.usn = "uuid:65746500-K\xc3\xb6ln  %s-1.2.3.4-0";
    service.location = "{}";
    EXPECT_EQ(formats::ComposeGoodbye(service),
              "NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: " + service.notificationType +
                  "\r\nNTS: ssdp:byebye\r\nLOCATION: {}\r\n"
                  "USN: uuid:65746500-K\xc3\xb6ln  %s-1.2.3.4-0\r\n\r\n");
}

TEST(SearchResponseReading, ReadsTheResponseThatThisSystemSends)
{
    const std::string response = formats::ComposeSearchResponse(FullRecord());
    std::string_view usn;
    EXPECT_EQ(ReadUSN(response, usn), SearchResponse::Read);
    EXPECT_EQ(usn, FullRecord().usn);
    EXPECT_EQ(formats::ReadSearchResponseLocation(response), FullRecord().location);
}

TEST(SearchResponseReading, TheUSNIsTheTextFromTheFirstUuidToTheEndOfTheLine)
{
    std::string_view usn = "untouched";
    EXPECT_EQ(ReadUSN("USN: x uuid:1::upnp:rootdevice\n\r\r\nuuid:2\r\n", usn),
              SearchResponse::Read);
    EXPECT_EQ(usn, "uuid:1::upnp:rootdevice\n\r");
    EXPECT_EQ(ReadUSN("\r\nuuid\r\n", usn), SearchResponse::Read);
    EXPECT_EQ(usn, "uuid");
}

TEST(SearchResponseReading, AMissingUuidAndAMissingLineEndAreDistinguished)
{
    std::string_view usn = "untouched";
    EXPECT_EQ(ReadUSN("HTTP/1.1 200 OK\r\nUSN: UUID:1\r\n", usn), SearchResponse::NoUuid);
    EXPECT_EQ(ReadUSN("", usn), SearchResponse::NoUuid);
    EXPECT_EQ(ReadUSN("HTTP/1.1 200 OK\r\nUSN: uuid:1", usn), SearchResponse::NoLineEnd);
    EXPECT_EQ(ReadUSN("HTTP/1.1 200 OK\r\nUSN: uuid:1\r", usn), SearchResponse::NoLineEnd);
    EXPECT_EQ(usn, "untouched");
}

TEST(SearchResponseReading, TheLocationIsTheTextFromHttpToTheEndOfTheLine)
{
    using formats::ReadSearchResponseLocation;
    EXPECT_EQ(ReadSearchResponseLocation("LOCATION: http://192.0.2.20:80/a.xml\r\nST: x\r\n"),
              "http://192.0.2.20:80/a.xml");
    EXPECT_EQ(ReadSearchResponseLocation("LOCATION: https\r\n"), "https");
    EXPECT_EQ(ReadSearchResponseLocation("LOCATION: http://a"), "");
    EXPECT_EQ(ReadSearchResponseLocation("LOCATION:http://a\r\n"), "");
    EXPECT_EQ(ReadSearchResponseLocation("Location: http://a\r\n"), "");
    EXPECT_EQ(ReadSearchResponseLocation("LOCATION: ftp://a\r\n"), "");
    EXPECT_EQ(ReadSearchResponseLocation(""), "");
}

TEST(ReadSearchResponse, ReadsTheResponseThatThisSystemSends)
{
    const auto headers = formats::ReadSearchResponse(formats::ComposeSearchResponse(FullRecord()));
    ASSERT_TRUE(headers);
    EXPECT_EQ(headers->searchTarget, "upnp:rootdevice");
    EXPECT_EQ(headers->usn, FullRecord().usn);
    EXPECT_EQ(headers->location, FullRecord().location);
    EXPECT_EQ(headers->server, FullRecord().server);
}

TEST(ReadSearchResponse, ReadsHeaderNamesInAnyCase)
{
    const auto headers =
        formats::ReadSearchResponse("HTTP/1.1 200 OK\r\nEXT:\r\nst: upnp:rootdevice\r\n"
                                    "Usn:uuid:1\r\nLOCATION: http://x:80/y\r\nSERVER: s\r\n\r\n");
    ASSERT_TRUE(headers);
    EXPECT_EQ(headers->searchTarget, "upnp:rootdevice");
    EXPECT_EQ(headers->usn, "uuid:1");
    EXPECT_EQ(headers->location, "http://x:80/y");
    EXPECT_EQ(headers->server, "s");
}

TEST(ReadSearchResponse, TrimsSpacesAndTabsOnly)
{
    const auto headers = formats::ReadSearchResponse("HTTP/1.1 200 OK\r\nST: \t ~a b~ \t\r\n\r\n");
    ASSERT_TRUE(headers);
    EXPECT_EQ(headers->searchTarget, "~a b~");
}

TEST(ReadSearchResponse, RefusesOtherDatagrams)
{
    EXPECT_FALSE(formats::ReadSearchResponse("NOTIFY * HTTP/1.1\r\n\r\n"));
    EXPECT_FALSE(formats::ReadSearchResponse(""));
}
