#include "engine_fixture.h"
#include "support/capture.h"

// Datagrams that the engine reads from its socket.

using test::PeerSocket;

namespace {

class Receiving : public test::EngineTest
{
protected:
    // The lines on standard error after one datagram of the peer.
    std::string FaultOf(const std::string &datagram)
    {
        return test::Capture([&] {
                   ToEngine(datagram);
                   Settle();
               })
            .err;
    }
};

const std::string kUnknown = "ParseSSDPPacket: Don't know what to do with this method:\n";

// A search of the given size. Its target is at the end of the datagram.
std::string SearchOfSize(std::size_t size)
{
    const std::string start = "M-SEARCH * HTTP/1.1\r\nX: ";
    const std::string end = "\r\nST:upnp:rootdevice";
    return start + std::string(size - start.size() - end.size(), 'x') + end;
}

} // namespace

TEST_F(Receiving, ReadsAtMost1500BytesOfADatagram)
{
    OpenAnnounced();
    PeerSocket asker;
    asker.SendTo(SearchOfSize(1501), test::kOwnAddress, 1900); // the last byte is cut off
    asker.SendTo(SearchOfSize(1500), test::kOwnAddress, 1900);
    EXPECT_EQ(asker.Receive(), test::SearchAnswer(test::kCorvia, test::kCorviaFile));
    Settle();
    EXPECT_EQ(asker.Receive(0), "");
    const std::string large(1500, 'x');
    EXPECT_EQ(FaultOf(large), kUnknown + large + "\n");
    EXPECT_EQ(FaultOf(large + "y"), kUnknown + large + "\n");
}

TEST_F(Receiving, WritesTheLinesOfTheCoreToStandardError)
{
    OpenAnnounced();
    EXPECT_EQ(FaultOf("%s%n"), kUnknown + "%s%n\n");
    EXPECT_EQ(FaultOf("HTTP/1.1 200 OK\r\n\r\n"),
              "ParseHTTPResponse: Unable to find the \"uuid\"\n");
}

TEST_F(Receiving, IgnoresAnEmptyDatagram)
{
    OpenAnnounced();
    EXPECT_EQ(FaultOf(""), "");
}
