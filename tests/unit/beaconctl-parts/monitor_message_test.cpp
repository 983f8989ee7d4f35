#include "beaconctl/monitor_message.h"

#include "beaconctl/sources.h"
#include "formats/description_document.h"
#include "formats/ssdp_messages.h"

#include <gtest/gtest.h>

using namespace beaconctl;

namespace {

constexpr const char *kLocation = "http://192.0.2.10:80/corvia_12_upnp_ssdp_1.xml";

SSDPDeviceType Device()
{
    SSDPDeviceType device;
    device.productName = device.modelName = "Corvia 12";
    device.hostName = "studio-a";
    device.ipAddress = "192.0.2.10";
    device.notificationType = "upnp:rootdevice";
    device.usn = formats::MakeUSN("Corvia 12", "192.0.2.10", "0");
    device.maxAge = "124";
    device.location = kLocation;
    return device;
}

Datagram From10To11(std::string_view text)
{
    return MakeDatagram(ParseAddress("192.0.2.10", 0)->sin_addr,
                        ParseAddress("192.0.2.11", 0)->sin_addr, text);
}

// All texts of a message.
std::string Described(const std::string &text)
{
    const Message message = DescribeDatagram(From10To11(text));
    return std::string(message.method) + "|" + message.type + "|" + message.usn + "|" +
           message.location + "|" + message.product + "|" + message.meaning;
}

std::string Notify(const std::string &headers)
{
    return Described("NOTIFY * HTTP/1.1\r\n" + headers + "\r\n");
}

// Parts of the results of Described() for the messages of Device().
const std::string kUsn = "uuid:65746500-Corvia 12-192.0.2.10-0";
const std::string kProduct = "|corvia_12|";
const std::string kAnnounced = "NOTIFY|upnp:rootdevice|" + kUsn + "|" + kLocation + kProduct;

} // namespace

TEST(DescribeDatagram, DescribesTheMessagesOfTheDaemon)
{
    EXPECT_EQ(Described(formats::ComposeAlive(Device())),
              kAnnounced + "announces itself for 124 s");
    EXPECT_EQ(Described(formats::ComposeGoodbye(Device())), kAnnounced + "says goodbye");
    EXPECT_EQ(Described(formats::ComposeSearchRequest("upnp:rootdevice")),
              "M-SEARCH|upnp:rootdevice||||searches for services of this type");
    EXPECT_EQ(Described(formats::ComposeSearchResponse(Device())),
              "HTTP|upnp:rootdevice|" + kUsn + "|" + kLocation + kProduct +
                  "answers a search of 192.0.2.11");
    EXPECT_EQ(Described(formats::ComposeGETRequest(kLocation, "192.0.2.11")),
              "GET||||corvia_12|asks 192.0.2.11 for its description, corvia_12_upnp_ssdp_1.xml");
    const std::string document = formats::ComposeDescription(Device(), "x.xml", "http://x/");
    EXPECT_EQ(Described(formats::ComposeGETResponse(document, document.size())),
              "HTTP||" + kUsn + "||corvia_12|describes \"studio-a\" (Corvia 12) to 192.0.2.11");
}

TEST(DescribeDatagram, DescribesOtherSearches)
{
    EXPECT_EQ(Described("M-SEARCH * HTTP/1.1\r\nST: ssdp:all\r\n\r\n"),
              "M-SEARCH|ssdp:all||||searches for every service");
    EXPECT_EQ(Described("M-SEARCH * HTTP/1.1\r\nST: " + kUsn + "\r\n\r\n"),
              "M-SEARCH|" + kUsn + "|||corvia_12|searches for the service with this USN");
    EXPECT_EQ(Described("M-SEARCH * HTTP/1.1\r\n\r\n"), "M-SEARCH|||||search without ST: ignored");
}

TEST(DescribeDatagram, SaysWhichAnnouncementsAreIgnored)
{
    EXPECT_EQ(Notify("NT: a\r\nUSN: uuid:1\r\nLOCATION: b\r\nNTS: ssdp:alive\r\n"),
              "NOTIFY|a|uuid:1|b||announces itself for 1800 s; another maker's device: ignored");
    EXPECT_EQ(Notify("NT: a\r\nUSN: ZR1\r\nLOCATION: b\r\nNTS: ssdp:alive\r\n"),
              "NOTIFY|a|ZR1|b||announces itself for 1800 s");
    EXPECT_EQ(Notify("NT: a\r\nUSN: b\r\nLOCATION: c\r\nNTS: ssdp:update\r\n"),
              "NOTIFY|a|b|c||neither ssdp:alive nor ssdp:byebye: ignored");
    EXPECT_EQ(Notify("NT: a\r\nUSN: b\r\nNTS: ssdp:byebye\r\n"),
              "NOTIFY|a|b|||announcement without LOCATION: ignored");
    EXPECT_EQ(Notify("NT: a\r\nLOCATION: c\r\nNTS: ssdp:alive\r\n"),
              "NOTIFY|a||c||announcement without USN: ignored");
    EXPECT_EQ(Notify(""), "NOTIFY|||||announcement without NT: ignored");
}

TEST(DescribeDatagram, SaysWhichAnswersAreIgnored)
{
    EXPECT_EQ(Described("HTTP/1.1 200 OK\r\nST: a\r\nUSN: uuid:1\r\nLOCATION: http://x\r\n\r\n"),
              "HTTP|a|uuid:1|http://x||answers a search of 192.0.2.11; another maker's device: "
              "ignored");
    EXPECT_EQ(Described("HTTP/1.1 200 OK\r\nST: a\r\n\r\n"),
              "HTTP|a||||search answer without a USN: ignored");
    EXPECT_EQ(Described("HTTP/1.1 200 OK\r\nUSN: uuid:1"),
              "HTTP|||||search answer without a USN: ignored");
    EXPECT_EQ(Described("HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\n<UDN>x</UDN>"),
              "HTTP|||||description without friendlyName or UDN: ignored");
}

TEST(DescribeDatagram, DescribesRequestsAndOtherDatagrams)
{
    EXPECT_EQ(Described("GET /other.xml HTTP/1.1\r\n\r\n"),
              "GET|||||asks 192.0.2.11 for its description, other.xml");
    EXPECT_EQ(Described("GET / HTTP/1.1\r\n\r\n"),
              "GET|||||request without the name of a document: ignored");
    EXPECT_EQ(Described("HELLO"), "|||||not SSDP: ignored");
    EXPECT_EQ(Described(""), "|||||not SSDP: ignored");
}

TEST(DescribeDatagram, SaysThatADatagramIsCut)
{
    EXPECT_EQ(Described(std::string(1501, 'x')), "|||||not SSDP: ignored; cut");
}

TEST(DescribeDatagram, TakesNoProductFromAUSNOfAnotherForm)
{
    for (const char *usn : {"uuid:65746500-", "uuid:65746500-Corvia 12", "uuid:65746500-a-b",
                            "-uuid:65746500-a", "-", "uuid:Corvia 12-192.0.2.10-0"}) {
        const Message message = DescribeDatagram(
            From10To11("NOTIFY\r\nNT: a\r\nUSN: " + std::string(usn) + "\r\nLOCATION: b\r\n"));
        EXPECT_EQ(message.usn, usn);
        EXPECT_EQ(message.product, "") << usn;
    }
}

TEST(IsWanted, SelectsByTheAddressOfEitherEnd)
{
    const Datagram datagram = From10To11("");
    const Message message = DescribeDatagram(datagram);
    EXPECT_TRUE(IsWanted(datagram, message, "", ""));
    EXPECT_TRUE(IsWanted(datagram, message, "192.0.2.10", ""));
    EXPECT_TRUE(IsWanted(datagram, message, "192.0.2.11", ""));
    EXPECT_FALSE(IsWanted(datagram, message, "192.0.2.1", ""));
}

TEST(IsWanted, SelectsByTheWholeNameOfAProductInAnyCase)
{
    const Datagram datagram = From10To11("");
    Message message;
    EXPECT_FALSE(IsWanted(datagram, message, "", "Corvia 12"));
    message.product = "corvia_12";
    for (const char *product : {"Corvia 12", "corvia 12", "CORVIA_12"}) {
        EXPECT_TRUE(IsWanted(datagram, message, "", product));
        EXPECT_FALSE(IsWanted(datagram, message, "192.0.2.1", product));
    }
    EXPECT_FALSE(IsWanted(datagram, message, "", "Corvia 12 Plus"));
    EXPECT_FALSE(IsWanted(datagram, message, "", "Corvia"));
}
