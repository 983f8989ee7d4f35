#include "beaconctl/monitor_source.h"

#include "beaconctl/sources.h"
#include "support/private_namespace.h"
#include "vexbase/vex_udp_socket.h"

#include <array>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

using namespace beaconctl;
using test::kOwnAddress;
using test::kPeerAddress;
using test::PeerSocket;

namespace {

constexpr const char *kGroup = "239.255.255.250";
constexpr std::uint16_t kPort = 1900;
constexpr int kGenerousMs = 60000;
constexpr uid_t kNobody = 65534;

// Sends a text from this host. Multicast leaves through net0 if there is one.
void Send(const std::string &text, const char *address)
{
    Question question;
    ASSERT_EQ(question.Send(text, *ParseAddress(address, kPort)), 0);
}

// The next datagram: its addresses and its text.
std::string Next(MonitorSource &source)
{
    pollfd waiting{source.Descriptor(), POLLIN, 0};
    std::optional<Datagram> datagram;
    std::string error;
    while (!datagram) {
        if (poll(&waiting, 1, kGenerousMs) != 1) {
            return "nothing";
        }
        EXPECT_TRUE(source.Receive(datagram, error)) << error;
    }
    return AddressText(datagram->from) + " > " + AddressText(datagram->to) + " " +
           std::string(datagram->text);
}

// Opens a source as a user without CAP_NET_RAW.
void OpenAsNobody(MonitorSource &source)
{
    std::string error;
    ASSERT_EQ(seteuid(kNobody), 0);
    const bool opened = source.Open(error);
    ASSERT_EQ(seteuid(0), 0);
    ASSERT_TRUE(opened) << error;
}

class MonitorPackets : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string error;
        ASSERT_TRUE(mSource.Open(error)) << error;
    }

    MonitorSource mSource;
    PeerSocket mPeer{kPort, kPeerAddress};
};

} // namespace

TEST_F(MonitorPackets, AreMulticastAndUnicastOfBothDirections)
{
    EXPECT_TRUE(mSource.HasUnicast());
    mPeer.SendTo("from the peer", kOwnAddress, kPort);
    EXPECT_EQ(Next(mSource), "192.0.2.20 > 192.0.2.10 from the peer");
    mPeer.SendTo("to the group", kGroup, kPort);
    EXPECT_EQ(Next(mSource), "192.0.2.20 > 239.255.255.250 to the group");
    Send("to the peer", kPeerAddress);
    EXPECT_EQ(Next(mSource), "192.0.2.10 > 192.0.2.20 to the peer");
}

TEST_F(MonitorPackets, AppearOnceAlthoughMulticastIsLoopedBack)
{
    Send("first", kGroup);
    Send("second", kGroup);
    EXPECT_EQ(Next(mSource), "192.0.2.10 > 239.255.255.250 first");
    EXPECT_EQ(Next(mSource), "192.0.2.10 > 239.255.255.250 second");
}

TEST_F(MonitorPackets, AreFromOrToTheSsdpPort)
{
    PeerSocket other(50000);
    other.SendTo("neither", kOwnAddress, 1901);
    other.SendTo("to the port", kOwnAddress, kPort);
    EXPECT_EQ(Next(mSource), "192.0.2.20 > 192.0.2.10 to the port");
    other.SendTo("neither", kOwnAddress, 1899);
    mPeer.SendTo("from the port", kOwnAddress, 50000);
    EXPECT_EQ(Next(mSource), "192.0.2.20 > 192.0.2.10 from the port");
}

TEST_F(MonitorPackets, ContainOnlyTheFirstFragment)
{
    const std::string text = "NOTIFY" + std::string(20000, 'x');
    mPeer.SendTo(text, kOwnAddress, kPort);
    mPeer.SendTo("next", kOwnAddress, kPort);
    EXPECT_EQ(Next(mSource),
              "192.0.2.20 > 192.0.2.10 " + text.substr(0, 1480 - 8)); // one Ethernet frame
    EXPECT_EQ(Next(mSource), "192.0.2.20 > 192.0.2.10 next");
}

TEST(MonitorPacketsWithoutNet0, LeaveOutTheLoopback)
{
    test::OnHost("ip link set net0 down && ip link set net0 name other0 && "
                 "ip link set other0 up && ip route add 239.0.0.0/8 dev other0");
    MonitorSource source;
    std::string error;
    EXPECT_TRUE(source.Open(error)) << error;
    Send("on the loopback", "127.0.0.1");
    PeerSocket(kPort).SendTo("on the link", kOwnAddress, kPort);
    EXPECT_EQ(Next(source), "192.0.2.20 > 192.0.2.10 on the link");
    test::OnHost("ip link set other0 down && ip link set other0 name net0 && "
                 "ip link set net0 up");
}

TEST(MonitorGroup, ReceivesMulticastAndLeavesUnicastToADaemonThatWasStartedBefore)
{
    VEXUDPSocket daemon;
    ASSERT_EQ(daemon.Open("", kPort, VEXUDPSocket::Port::Shared), 0);
    MonitorSource source;
    OpenAsNobody(source);
    EXPECT_FALSE(source.HasUnicast());
    PeerSocket peer(kPort, kPeerAddress);
    peer.SendTo("to the daemon", kOwnAddress, kPort);
    peer.SendTo("to the group", kGroup, kPort);
    EXPECT_EQ(Next(source), "192.0.2.20 > 239.255.255.250 to the group");
    std::array<char, 100> text{};
    sockaddr_in sender{};
    const std::size_t length = daemon.Poll(text.data(), text.size(), sender, kGenerousMs);
    EXPECT_EQ(std::string(text.data(), length), "to the daemon");
}

TEST(MonitorGroup, IsRefusedIfAProgramHoldsThePortAlone)
{
    VEXUDPSocket daemon;
    ASSERT_EQ(daemon.Open("", kPort), 0);
    MonitorSource source;
    std::string error;
    ASSERT_EQ(seteuid(kNobody), 0);
    EXPECT_FALSE(source.Open(error));
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_EQ(error, "cannot monitor: Address already in use");
}

TEST(MonitorSource, ReportsThatItsInterfaceGoesDown)
{
    MonitorSource source;
    std::string error;
    ASSERT_TRUE(source.Open(error)) << error;
    test::OnHost("ip link set net0 down && ip link set net0 up");
    std::optional<Datagram> datagram;
    EXPECT_FALSE(source.Receive(datagram, error));
    EXPECT_EQ(error, "cannot monitor: Network is down");
}
