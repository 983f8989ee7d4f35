#include "formats/ssdp_messages.h"

#include "support/records.h"

#include <gtest/gtest.h>

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

TEST(SsdpMessages, GoodbyeHasTheSameNtLocationAndUsnAndNeitherCacheControlNorServer)
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

TEST(SsdpMessages, SearchRequestPutsNoBlankBehindItsColons)
{
    EXPECT_EQ(formats::ComposeSearchRequest("upnp:rootdevice"), "M-SEARCH * HTTP/1.1\r\n"
                                                                "HOST:239.255.255.250:1900\r\n"
                                                                "ST:upnp:rootdevice\r\n"
                                                                "MAN:\"ssdp:discover\"\r\n"
                                                                "MX:3\r\n"
                                                                "\r\n");
}

TEST(SsdpMessages, SearchResponseHasAnEmptyExtAndTheServicesOwnType)
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

TEST(SsdpMessages, AnEmptyFieldLeavesNothingBehindTheHeadersBlankAndSuppressesNoMessage)
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

TEST(SsdpMessages, FieldsAreInsertedAsTheyAreStoredWhateverTheirBytes)
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
