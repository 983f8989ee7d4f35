#include "engine_fixture.h"
#include "support/capture.h"

#include <gmock/gmock.h>
#include <vector>

using test::kPeerAddress;
using test::PeerDescription;
using test::PeerNotify;
using test::PeerSocket;
using testing::HasSubstr;
using testing::Not;

namespace {

class Parsing : public test::EngineTest
{
protected:
    // What the engine prints to standard error over one datagram of the peer.
    std::string FaultOf(const std::string &datagram)
    {
        return test::Capture([&] {
                   ToEngine(datagram);
                   Settle();
               })
            .err;
    }

    // The list of known services, once all that was sent has been dealt with.
    std::string Known()
    {
        Settle();
        return Ask("gn");
    }
};

constexpr const char *kLocation = "http://192.0.2.20:80/lumen_upnp_ssdp_1.xml";

const std::string kUnknown = "ParseSSDPPacket: Don't know what to do with this method:\n";

// A search of the given size, whose target is the very end of the datagram.
std::string SearchOfSize(std::size_t size)
{
    const std::string start = "M-SEARCH * HTTP/1.1\r\nX: ";
    const std::string end = "\r\nST:upnp:rootdevice";
    return start + std::string(size - start.size() - end.size(), 'x') + end;
}

} // namespace

TEST_F(Parsing, UnknownMethodIsReportedWithTheWholeDatagram)
{
    OpenAnnounced();
    const std::string subscribe = "SUBSCRIBE * HTTP/1.1\r\nNT: upnp:rootdevice\r\n\r\n";
    EXPECT_EQ(FaultOf(subscribe), kUnknown + subscribe + "\n");
    EXPECT_EQ(FaultOf("%s%n"), kUnknown + "%s%n\n");
}

TEST_F(Parsing, MethodInLowerCaseIsUnknown)
{
    OpenAnnounced();
    const std::string notify = "notify * HTTP/1.1\r\nNT: upnp:rootdevice\r\n\r\n";
    EXPECT_EQ(FaultOf(notify), kUnknown + notify + "\n");
}

TEST_F(Parsing, DatagramOfTheLargestSizeIsReadWhole)
{
    OpenAnnounced();
    PeerSocket asker;
    asker.SendTo(SearchOfSize(1501), test::kOwnAddress, 1900); // its last byte is lost
    asker.SendTo(SearchOfSize(1500), test::kOwnAddress, 1900);
    EXPECT_EQ(asker.Receive(), test::SearchAnswer(test::kCorvia, test::kCorviaFile));
    Settle();
    EXPECT_EQ(asker.Receive(0), "");
    const std::string large(1500, 'x');
    EXPECT_EQ(FaultOf(large), kUnknown + large + "\n");
    EXPECT_EQ(FaultOf(large + "y"), kUnknown + large + "\n");
}

TEST_F(Parsing, NotifyThatLacksAHeaderIsDroppedSilently)
{
    OpenAnnounced();
    const std::string start = "NOTIFY * HTTP/1.1\r\nNTS: ssdp:alive\r\n";
    const std::string nt = "NT: upnp:rootdevice\r\n";
    const std::string usn = "USN: uuid:65746500-Lumen-192.0.2.20-0\r\n";
    const std::string location = "LOCATION: https://no.such.port/\r\n"; // read, it would be told
    for (const std::string &headers : {nt + usn, nt + location, usn + location}) {
        EXPECT_EQ(FaultOf(start + headers + "\r\n"), "");
    }
    EXPECT_NE(FaultOf(start + nt + usn + location + "\r\n"), "");
}

TEST_F(Parsing, NotifyOfAnotherKindIsDroppedSilently)
{
    OpenAnnounced();
    EXPECT_EQ(FaultOf(PeerNotify("ssdp:update", "Lumen", "nowhere")), "");
    EXPECT_NE(FaultOf(PeerNotify("SSDP:ALIVE", "Lumen", "nowhere")), "");
}

TEST_F(Parsing, LocationWithoutItsMarksIsReported)
{
    OpenAnnounced();
    const std::string fault = "SendGETRequest: Unable to find the http string\n";
    EXPECT_EQ(FaultOf(PeerNotify("ssdp:alive", "Lumen", "192.0.2.20:80/x.xml")), fault);
    EXPECT_EQ(FaultOf(PeerNotify("ssdp:alive", "Lumen", "http://192.0.2.20/x.xml")), fault);
    EXPECT_EQ(FaultOf(PeerNotify("ssdp:alive", "Lumen", ":80 http://192.0.2.20")), fault);
}

TEST_F(Parsing, LocationOfNoPeerIsReported)
{
    OpenAnnounced();
    for (const std::string &address :
         {std::string("0.0.0.0"), std::string("lumen.example"), std::string("192.0.2"),
          std::string("192.0.2.256"), std::string(), std::string("192.0.2.20\0", 11)}) {
        EXPECT_EQ(FaultOf(PeerNotify("ssdp:alive", "Lumen", "http://" + address + ":80/x.xml")),
                  "SendGETRequest: Invalid IP address: \"" + address + "\"\n");
    }
}

TEST_F(Parsing, SearchResponseWithoutUsnIsReported)
{
    OpenAnnounced();
    EXPECT_EQ(FaultOf("HTTP/1.1 200 OK\r\nST: upnp:rootdevice\r\n\r\n"),
              "ParseHTTPResponse: Unable to find the \"uuid\"\n");
    EXPECT_EQ(FaultOf("HTTP/1.1 200 OK\r\nUSN: uuid:65746500-Lumen"),
              "ParseHTTPResponse: Unable to retrieve the USN\n");
}

TEST_F(Parsing, SearchResponseOfOthersIsIgnored)
{
    OpenAnnounced();
    const std::string foreign = "HTTP/1.1 200 OK\r\nUSN: uuid:1\r\nLOCATION: http://x/\r\n\r\n";
    const std::string ours =
        "HTTP/1.1 200 OK\r\nUSN: uuid:65746500-1\r\nLOCATION: http://x/\r\n\r\n";
    const std::string bare = "HTTP/1.1 200 OK\r\nUSN: uuid:65746500-1\r\n\r\n";
    EXPECT_EQ(FaultOf(foreign), "");
    EXPECT_EQ(FaultOf(bare), "");
    EXPECT_EQ(FaultOf(ours), "SendGETRequest: Unable to find the http string\n");
}

TEST_F(Parsing, SearchResponseOfAKnownDeviceCausesNoRequest)
{
    OpenAnnounced();
    ToEngine(PeerDescription("Lumen", "beta"));
    const std::string response = "HTTP/1.1 200 OK\r\nUSN: " + test::UsnOf("Lumen", kPeerAddress) +
                                 "\r\nLOCATION: http://x/\r\n\r\n";
    EXPECT_EQ(FaultOf(response), ""); // a request would have failed with a line
}

TEST_F(Parsing, ResponseFromTheOwnAddressIsIgnored)
{
    OpenAnnounced();
    const std::string faults = test::Capture([&] {
                                   FromOwnAddress("HTTP/1.1 200 OK\r\n\r\n");
                                   FromOwnAddress(PeerDescription("Lumen", "beta"));
                                   Settle();
                               }).err;
    EXPECT_EQ(faults, "");
    EXPECT_THAT(Known(), Not(HasSubstr("Lumen")));
    ToEngine(PeerDescription("Lumen", "beta"));
    EXPECT_THAT(Known(), HasSubstr("Lumen"));
}

TEST_F(Parsing, NotifyFromTheOwnAddressIsIgnored)
{
    OpenAnnounced();
    ToEngine(PeerDescription("Lumen", "beta"));
    FromOwnAddress(PeerNotify("ssdp:byebye", "Lumen", kLocation));
    EXPECT_THAT(Known(), HasSubstr("Lumen"));
    ToEngine(PeerNotify("ssdp:byebye", "Lumen", kLocation));
    EXPECT_THAT(Known(), Not(HasSubstr("Lumen")));
}

TEST_F(Parsing, DescriptionWithoutANameOrAUsnIsDroppedSilently)
{
    OpenAnnounced();
    const std::string start = "HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\n";
    EXPECT_EQ(FaultOf(start + "<UDN>uuid:65746500-a</UDN>"), "");
    EXPECT_EQ(FaultOf(start + "<friendlyName>beta</friendlyName>"), "");
    EXPECT_EQ(FaultOf(start + "<friendlyName>beta</friendlyName><UDN></UDN>"), "");
    EXPECT_THAT(Known(), Not(HasSubstr("beta")));
}

TEST_F(Parsing, HostileDatagramsLeaveTheEngineAtWork)
{
    OpenAnnounced();
    const std::string nul(1, '\0');
    const std::vector<std::string> datagrams{
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
        ToEngine(datagram);
    }
    Settle();
}
