#include "engine_fixture.h"
#include "support/capture.h"

#include <arpa/inet.h>
#include <thread>

using test::Capture;
using test::kNet0;
using test::kOwnAddress;
using test::Output;
using test::PeerSocket;
using test::Search;

namespace {

class Open : public test::EngineTest
{
protected:
    // Opens the engine. Returns the printed lines; the result is in mResult.
    Output Print(const std::map<std::string, std::string> &interfaces)
    {
        return Capture([&] { mResult = mEngine.Open(interfaces); });
    }

    Output PrintClose()
    {
        return Capture([&] { mEngine.Close(); });
    }

    unsigned int mResult = 77;
};

constexpr const char *kStarted = "Open: The diagnostic thread has started\n";
constexpr const char *kExits = "SSDPThread: Exiting...\nSSDPDiagnosticThread: Exiting...\n";

// Waits until port 1900 is in use.
void AwaitPortTaken()
{
    VEXUDPSocket probe;
    while (probe.Open("", 1900) == vexbase::kSuccess) {
        probe.Close();
        std::this_thread::yield();
    }
}

} // namespace

TEST_F(Open, RefusesAnEmptyMapAndStartsNothing)
{
    const Output output = Print({});
    EXPECT_EQ(mResult, 0U);
    EXPECT_EQ(output.err, "Open: The IP Interface container is empty\n");
    EXPECT_EQ(output.out, "");
    EXPECT_FALSE(mEngine.IsOpen());
    EXPECT_EQ(PrintClose().out, "");
}

TEST_F(Open, RefusesTwoInterfacesAndStartsNothing)
{
    const Output output = Print({{kOwnAddress, "net0"}, {"192.0.2.11", "net0"}});
    EXPECT_EQ(mResult, 0U);
    EXPECT_EQ(output.err, "Open: The IP Interface container must have one, and only one member\n"
                          "since we do not support multihomed SSDP at this time.\n");
    EXPECT_EQ(output.out, "");
    EXPECT_FALSE(mEngine.IsOpen());
    EXPECT_EQ(PrintClose().out, "");
}

TEST_F(Open, ReturnsOneAndPrintsThatTheDiagnosticThreadHasStarted)
{
    const Output output = Print(kNet0);
    EXPECT_EQ(mResult, 1U);
    EXPECT_TRUE(mEngine.IsOpen());
    EXPECT_EQ(output.out, kStarted);
    EXPECT_EQ(output.err, "");
    const Output closing = PrintClose();
    EXPECT_EQ(closing.out, kExits);
    EXPECT_EQ(closing.err, "");
    EXPECT_FALSE(mEngine.IsOpen());
}

TEST_F(Open, OfAnOpenEngineChangesAndPrintsNothing)
{
    OpenAnnounced();
    const std::map<std::string, std::string> other{{"192.0.2.99", "lo"}};
    for (const auto &interfaces : {kNet0, other}) {
        const Output output = Print(interfaces);
        EXPECT_EQ(mResult, 1U);
        EXPECT_EQ(output.out + output.err, "");
    }
    // No second search and no second announcement comes before this answer.
    ToEngine(Search("ssdp:all"));
    EXPECT_EQ(mPeer.Receive(), test::SearchAnswer(test::kCorvia, test::kCorviaFile));
    EXPECT_EQ(PrintClose().out, kExits);
}

TEST_F(Open, WorksAgainAfterClose)
{
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(Capture([&] { OpenAnnounced(); }).out, kStarted);
        EXPECT_EQ(PrintClose().out, kExits);
        EXPECT_EQ(mPeer.Receive(), test::Goodbye(test::kCorvia, test::kCorviaFile));
    }
}

TEST_F(Open, FailsWithoutALineWhenPort1900IsInUse)
{
    VEXUDPSocket holder;
    ASSERT_EQ(holder.Open("", 1900), vexbase::kSuccess);
    const Output output = Print(kNet0);
    EXPECT_EQ(mResult, 0U);
    EXPECT_EQ(output.out + output.err, "");
    EXPECT_FALSE(mEngine.IsOpen());
    holder.Close();
    EXPECT_EQ(Print(kNet0).out, kStarted);
    EXPECT_EQ(mResult, 1U);
}

TEST_F(Open, SharesPort1900WithOtherSSDPPrograms)
{
    VEXUDPSocket other;
    ASSERT_EQ(other.Open("", 1900, VEXUDPSocket::Port::Shared), vexbase::kSuccess);
    OpenAnnounced();
    ip_mreq request{};
    inet_pton(AF_INET, "239.255.255.250", &request.imr_multiaddr);
    inet_pton(AF_INET, kOwnAddress, &request.imr_interface);
    ASSERT_EQ(other.SetSocketOption(IP_ADD_MEMBERSHIP, request), vexbase::kSuccess);
    mPeer.SendTo(Search("upnp:rootdevice"), "239.255.255.250", 1900);
    EXPECT_EQ(mPeer.ReceiveContaining("HTTP/1.1 200"),
              test::SearchAnswer(test::kCorvia, test::kCorviaFile));
    std::string received = test::Receive(other);
    while (received.find("NOTIFY") == 0 ||
           received.find("ST:upnp:rootdevice") == std::string::npos) {
        ASSERT_NE(received, "") << "the other program did not receive the search";
        received = test::Receive(other);
    }
    EXPECT_EQ(received, Search("upnp:rootdevice"));
}

TEST_F(Open, DoesNotAnnounceServicesThatWereRemovedBefore)
{
    Add("Lumen");
    Add("Talon");
    Add();
    mEngine.RemoveService("Lumen", test::kOwnAddress, 0);
    mEngine.RemoveService("uuid:65746500-Talon");
    ASSERT_EQ(mEngine.Open(kNet0), 1U);
    EXPECT_EQ(mPeer.Receive(), test::Alive(test::kCorvia, test::kCorviaFile));
    EXPECT_EQ(mPeer.Receive(), Search("upnp:rootdevice"));
}

TEST_F(Open, SucceedsWithoutTheDiagnosticPort)
{
    VEXUDPSocket holder;
    ASSERT_EQ(holder.Open("", 49821), vexbase::kSuccess);
    Add();
    const Output output = Print(kNet0);
    EXPECT_EQ(mResult, 1U);
    EXPECT_EQ(output.out + output.err, "");
    EXPECT_EQ(mPeer.Receive(), test::Alive(test::kCorvia, test::kCorviaFile));
    EXPECT_EQ(PrintClose().out, "SSDPThread: Exiting...\n");
}

TEST_F(Open, StartsTheDiagnosticChannelLaterWhenItsPortIsFree)
{
    VEXUDPSocket holder;
    ASSERT_EQ(holder.Open("", 49821), vexbase::kSuccess);
    EXPECT_EQ(Print(kNet0).out, "");
    holder.Close();
    EXPECT_EQ(Print(kNet0).out, kStarted);
    EXPECT_EQ(Ask("gh"), "HostList");
}

TEST_F(Open, JoinsTheGroupWhenTheAddressAppearsLater)
{
    std::thread settling([] {
        AwaitPortTaken();
        test::OnHost("ip addr add 192.0.2.11/24 dev net0");
    });
    SSDPDeviceType service = test::OwnService();
    service.ipAddress = "192.0.2.11";
    mEngine.AddService(service);
    EXPECT_EQ(mEngine.Open({{"192.0.2.11", "net0"}}), 1U);
    settling.join();
    PeerSocket asker;
    asker.SendTo(Search("upnp:rootdevice"), "192.0.2.11", 1900); // answered after the first pass
    EXPECT_NE(asker.Receive(), "");
    mPeer.SendTo(Search("upnp:rootdevice"), "239.255.255.250", 1900);
    EXPECT_NE(mPeer.ReceiveContaining("HTTP/1.1 200 OK"), "");
    mEngine.Close();
    test::OnHost("ip addr del 192.0.2.11/24 dev net0");
}

TEST_F(Open, SucceedsWhenTheGroupCannotBeJoined)
{
    SSDPDeviceType service = test::OwnService();
    service.ipAddress = "192.0.2.12";
    mEngine.AddService(service);
    const Output output = Print({{"192.0.2.12", "net0"}}); // an address of no interface
    EXPECT_EQ(mResult, 1U);
    EXPECT_EQ(output.out, kStarted);
    EXPECT_EQ(output.err, "");
    EXPECT_NE(mPeer.ReceiveContaining("NTS: ssdp:alive"), "");
}
