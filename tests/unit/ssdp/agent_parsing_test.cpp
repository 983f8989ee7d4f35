#include "agent_fixture.h"

#include <gmock/gmock.h>
#include <vector>

using test::kLumen;
using test::kOwnAddress;
using test::kPeerAddress;
using test::PeerAnswer;
using test::PeerDescription;
using test::PeerNotify;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using AgentParsing = test::AgentTest;

const std::string kUnknown = "ParseSSDPPacket: Don't know what to do with this method:\n";
const std::string kNoHttp = "SendGETRequest: Unable to find the http string";

} // namespace

TEST_F(AgentParsing, UnknownMethodIsReportedWithTheWholeDatagram)
{
    Open();
    for (const std::string &datagram :
         {std::string("SUBSCRIBE * HTTP/1.1\r\nNT: upnp:rootdevice\r\n\r\n"),
          std::string("notify * HTTP/1.1\r\nNT: upnp:rootdevice\r\n\r\n"), std::string("%s%n"),
          std::string("\0\n\xff", 3), std::string(1500, 'x')}) {
        EXPECT_THAT(FaultsOf(datagram), ElementsAre(kUnknown + datagram));
    }
}

TEST_F(AgentParsing, NotifyThatLacksAHeaderIsDroppedSilently)
{
    Open();
    const std::string start = "NOTIFY * HTTP/1.1\r\nNTS: ssdp:alive\r\n";
    const std::string nt = "NT: upnp:rootdevice\r\n";
    const std::string usn = "USN: uuid:65746500-Lumen-192.0.2.20-0\r\n";
    const std::string location =
        "LOCATION: https://no.such.port/\r\n"; // invalid: would be reported
    for (const std::string &headers : {nt + usn, nt + location, usn + location}) {
        EXPECT_THAT(FaultsOf(start + headers + "\r\n"), IsEmpty());
    }
    EXPECT_THAT(FaultsOf(start + nt + usn + location + "\r\n"), ElementsAre(kNoHttp));
}

TEST_F(AgentParsing, NotifyOfAnotherKindIsDroppedSilently)
{
    Open();
    EXPECT_THAT(FaultsOf(PeerNotify("ssdp:update", "Lumen", "nowhere")), IsEmpty());
    // This is an ssdp:alive: its case does not matter.
    EXPECT_THAT(FaultsOf(PeerNotify("SSDP:ALIVE", "Lumen", "nowhere")), ElementsAre(kNoHttp));
}

TEST_F(AgentParsing, LocationWithoutHTTPSchemeOrPort80IsReported)
{
    Open();
    for (const char *location : {"192.0.2.20:80/x.xml", "http://192.0.2.20/x.xml",
                                 "https://192.0.2.20:80/x.xml", ":80 http://192.0.2.20"}) {
        EXPECT_THAT(FaultsOf(PeerNotify("ssdp:alive", "Lumen", location)), ElementsAre(kNoHttp));
    }
    EXPECT_THAT(Tick(60000), IsEmpty());
}

TEST_F(AgentParsing, LocationWithAnInvalidPeerAddressIsReported)
{
    Open();
    const std::vector<std::string> addresses{
        "lumen.example", "192.0.2", "192.0.2.256", "", std::string("192.0.2.20\0", 11),
        // 0.0.0.0/8, loopback, multicast, 240.0.0.0/4
        "0.0.0.0", "0.0.0.1", "0.255.255.255", "127.0.0.1", "127.255.255.255", "224.0.0.0",
        "239.255.255.250", "240.0.0.0", "255.255.255.255",
        // the subnet's broadcast
        "192.0.2.255"};
    for (const std::string &address : addresses) {
        const std::string url = "http://" + address + ":80/x.xml";
        const std::string fault = "SendGETRequest: Invalid IP address: \"" + address + "\"";
        EXPECT_THAT(FaultsOf(PeerNotify("ssdp:alive", "Lumen", url)), ElementsAre(fault));
        EXPECT_THAT(FaultsOf(PeerAnswer("Lumen", url)), ElementsAre(fault));
    }
    EXPECT_THAT(Tick(60000), IsEmpty());
}

TEST_F(AgentParsing, DocumentIsRequestedFromAnyValidPeerAddress)
{
    Open();
    for (const char *address : {"1.0.0.0", "126.255.255.255", "128.0.0.0", "223.255.255.255",
                                "192.0.2.254", "192.0.3.255", "10.255.255.255"}) {
        const std::string url = "http://" + std::string(address) + ":80/x.xml";
        EXPECT_THAT(FaultsOf(PeerNotify("ssdp:alive", "Lumen", url)), IsEmpty());
        EXPECT_THAT(Tick(), ElementsAre(test::Sent{std::string(address) + ":1900",
                                                   "GET " + url + " HTTP/1.1\r\nHOST:" + address +
                                                       ":1900\r\n\r\n"}));
    }
}

TEST_F(AgentParsing, SearchResponseWithoutUSNIsReported)
{
    Open();
    EXPECT_THAT(FaultsOf("HTTP/1.1 200 OK\r\nST: upnp:rootdevice\r\n\r\n"),
                ElementsAre("ParseHTTPResponse: Unable to find the \"uuid\""));
    EXPECT_THAT(FaultsOf("HTTP/1.1 200 OK\r\nUSN: uuid:65746500-Lumen"),
                ElementsAre("ParseHTTPResponse: Unable to retrieve the USN"));
}

TEST_F(AgentParsing, SearchResponseWithoutAValidLocationIsReported)
{
    Open();
    const std::string start = "HTTP/1.1 200 OK\r\nUSN: uuid:65746500-Lumen-192.0.2.20-0\r\n";
    for (const char *rest : {"\r\n", "LOCATION: ftp://192.0.2.20:80/x.xml\r\n\r\n",
                             "location: http://192.0.2.20:80/x.xml\r\n\r\n",
                             "LOCATION:http://192.0.2.20:80/x.xml\r\n\r\n",
                             "LOCATION: http://192.0.2.20:80/x.xml", "LOCATION: http://x/\r\n"}) {
        EXPECT_THAT(FaultsOf(start + rest), ElementsAre(kNoHttp)) << rest;
    }
    EXPECT_THAT(FaultsOf(start + "LOCATION: http://192.0.2.20:80/x.xml\r\n"), IsEmpty());
}

TEST_F(AgentParsing, SearchResponseOfAnotherMakerIsIgnored)
{
    Open();
    for (const char *location :
         {"", "LOCATION: http://x/\r\n", "LOCATION: http://1.2.3.4:80/\r\n"}) {
        EXPECT_THAT(FaultsOf("HTTP/1.1 200 OK\r\nUSN: uuid:1\r\n" + std::string(location) + "\r\n"),
                    IsEmpty());
    }
    EXPECT_THAT(Tick(60000), IsEmpty());
}

TEST_F(AgentParsing, SearchResponseOfAKnownDeviceCausesNoRequest)
{
    Open();
    Receive(PeerDescription("Lumen", "beta"));
    EXPECT_THAT(FaultsOf(PeerAnswer("Lumen", "nowhere")), IsEmpty()); // invalid: would be reported
    EXPECT_THAT(FaultsOf(PeerAnswer("Lumen", kLumen)), IsEmpty());
    EXPECT_THAT(Tick(), IsEmpty());
    EXPECT_THAT(FaultsOf(PeerAnswer("ZR2", "nowhere")), ElementsAre(kNoHttp));
}

TEST_F(AgentParsing, ResponseFromThisDevicesAddressIsIgnored)
{
    Open();
    EXPECT_THAT(FaultsOf("HTTP/1.1 200 OK\r\n\r\n", kOwnAddress), IsEmpty());
    EXPECT_THAT(FaultsOf(PeerAnswer("Lumen", kLumen), kOwnAddress), IsEmpty());
    EXPECT_THAT(FaultsOf(PeerDescription("Lumen", "beta"), kOwnAddress), IsEmpty());
    EXPECT_FALSE(Knows("Lumen"));
    EXPECT_THAT(Tick(), IsEmpty());
    Receive(PeerDescription("Lumen", "beta"));
    EXPECT_TRUE(Knows("Lumen"));
}

TEST_F(AgentParsing, NotifyFromThisDevicesAddressIsIgnored)
{
    Open();
    Receive(PeerDescription("Lumen", "beta"));
    Receive(PeerNotify("ssdp:byebye", "Lumen", kLumen), kOwnAddress);
    EXPECT_TRUE(Knows("Lumen"));
    Receive(PeerNotify("ssdp:byebye", "Lumen", kLumen));
    EXPECT_FALSE(Knows("Lumen"));
    Receive(PeerNotify("ssdp:alive", "Lumen", kLumen), kOwnAddress);
    EXPECT_THAT(Tick(), IsEmpty());
}

TEST_F(AgentParsing, DescriptionWithoutNameOrUSNIsDroppedSilently)
{
    Open();
    const std::string start = "HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\n";
    for (const char *elements : {"<UDN>uuid:65746500-a</UDN>", "<friendlyName>beta</friendlyName>",
                                 "<friendlyName>beta</friendlyName><UDN></UDN>"}) {
        EXPECT_THAT(FaultsOf(start + elements), IsEmpty());
    }
    EXPECT_EQ(Ask("gn"), "NodeList");
}

TEST_F(AgentParsing, AgentStillWorksAfterHostileDatagrams)
{
    OpenAnnounced();
    const std::string nul(1, '\0');
    const std::vector<std::string> datagrams{
        "",
        nul,
        nul + nul,
        "NOTIFY",
        "NOTIFY " + nul + "\r\nNT: a" + nul,
        "NOTIFY" + std::string(1400, ':'),
        PeerNotify("ssdp:alive", "ZR1", "http://:80") + "max-age=99999999999999999999",
        "GET",
        "GET /" + nul + "a.xml",
        "GET /../../../etc/passwd.xml",
        "HTTP",
        "HTTP CONTENT-LANGUAGE friendlyName",
        "M-SEARCH",
        std::string(1500, '\n'),
    };
    for (const std::string &datagram : datagrams) {
        EXPECT_THAT(Receive(datagram), IsEmpty());
    }
    EXPECT_THAT(Tick(), IsEmpty());
    EXPECT_THAT(Receive(test::Search("ssdp:all")),
                ElementsAre(test::ToPeer(test::SearchAnswer(test::kCorvia, test::kCorviaFile))));
}
