#include "unit/vexbase/sockets.h"
#include "vexbase/vex_ip_socket.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <net/if.h>
#include <netinet/in.h>
#include <string>
#include <sys/resource.h>

namespace {

using Names = std::map<std::string, std::string>;

struct HostAddresses
{
    Names ipv4;
    Names ipv6;
};

HostAddresses Ask()
{
    HostAddresses addresses;
    EXPECT_TRUE(VEXIPSocket().GetHostIPAddresses(addresses.ipv4, addresses.ipv6));
    return addresses;
}

} // namespace

TEST(HostIPAddresses, HaveTheNamesOfTheirInterfaces)
{
    const Names expected{{"127.0.0.1", "lo"}, {"192.0.2.10", "net0"}};
    EXPECT_EQ(Ask().ipv4, expected);
}

TEST(HostIPAddresses, OfIPv6AreInTheSecondMapWithoutZoneAndPrefix)
{
    test::OnHost("ip -6 addr add 2001:db8::10/64 dev net0 nodad");
    const Names ipv6 = Ask().ipv6;
    EXPECT_EQ(ipv6.at("::1"), "lo");
    EXPECT_EQ(ipv6.at("2001:db8::10"), "net0");
    const auto isLinkLocal = [](const auto &entry) { return entry.first.rfind("fe80::", 0) == 0; };
    const auto linkLocal = std::find_if(ipv6.begin(), ipv6.end(), isLinkLocal);
    ASSERT_NE(linkLocal, ipv6.end());
    EXPECT_EQ(linkLocal->second, "net0");
    EXPECT_EQ(linkLocal->first.find_first_of("%/"), std::string::npos);
    test::OnHost("ip -6 addr del 2001:db8::10/64 dev net0");
}

TEST(HostIPAddresses, OfInterfacesThatAreDownAreLeftOut)
{
    test::OnHost("ip link set net0 down");
    const Names expected{{"127.0.0.1", "lo"}};
    EXPECT_EQ(Ask().ipv4, expected);
    test::OnHost("ip link set net0 up");
    EXPECT_EQ(Ask().ipv4.count("192.0.2.10"), 1U);
}

TEST(HostIPAddresses, OfOneInterfaceAreAllReported)
{
    test::OnHost("ip addr add 192.0.2.11/24 dev net0");
    const Names expected{{"127.0.0.1", "lo"}, {"192.0.2.10", "net0"}, {"192.0.2.11", "net0"}};
    EXPECT_EQ(Ask().ipv4, expected);
    test::OnHost("ip addr del 192.0.2.11/24 dev net0");
}

TEST(HostIPAddresses, WithALabelHaveItAsTheirName)
{
    test::OnHost("ip addr add 192.0.2.12/24 dev net0 label net0:1");
    EXPECT_EQ(Ask().ipv4.at("192.0.2.12"), "net0:1");
    EXPECT_EQ(Ask().ipv4.at("192.0.2.10"), "net0");
    test::OnHost("ip addr del 192.0.2.12/24 dev net0");
}

TEST(HostIPAddresses, OnTwoInterfacesHaveTheNameOfTheFirst)
{
    test::OnHost("ip -6 addr add fe80::5/64 dev net0 nodad && ip -6 addr add fe80::5/64 dev lo");
    EXPECT_EQ(Ask().ipv6.at("fe80::5"),
              if_nametoindex("lo") < if_nametoindex("net0") ? "lo" : "net0");
    test::OnHost("ip -6 addr del fe80::5/64 dev net0 && ip -6 addr del fe80::5/64 dev lo");
}

TEST(HostIPAddresses, ReplaceTheContentsOfTheMaps)
{
    Names ipv4{{"192.0.2.99", "old"}};
    Names ipv6{{"2001:db8::99", "old"}};
    ASSERT_TRUE(VEXIPSocket().GetHostIPAddresses(ipv4, ipv6));
    EXPECT_EQ(ipv4.count("192.0.2.99"), 0U);
    EXPECT_EQ(ipv6.count("2001:db8::99"), 0U);
}

TEST(HostIPAddresses, OfAHostWithoutAddressesAreEmptyMaps)
{
    test::OnHost("ip link set net0 down && ip link set lo down");
    const HostAddresses addresses = Ask();
    EXPECT_TRUE(addresses.ipv4.empty());
    EXPECT_TRUE(addresses.ipv6.empty());
    test::OnHost("ip link set lo up && ip link set net0 up");
}

TEST(HostIPAddresses, AreNotReadWhenNoSocketCanBeOpened)
{
    Names ipv4{{"192.0.2.99", "old"}};
    Names ipv6{{"2001:db8::99", "old"}};
    const Names ipv4Before = ipv4;
    const Names ipv6Before = ipv6;
    rlimit former{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &former), 0);
    rlimit none = former;
    none.rlim_cur = 0;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const bool asked = VEXIPSocket().GetHostIPAddresses(ipv4, ipv6);
    setrlimit(RLIMIT_NOFILE, &former);
    EXPECT_FALSE(asked);
    EXPECT_EQ(ipv4, ipv4Before);
    EXPECT_EQ(ipv6, ipv6Before);
}

TEST(SocketOption, OfAClosedSocketCannotBeSet)
{
    VEXIPSocket socket;
    EXPECT_FALSE(socket.IsOpen());
    EXPECT_LT(socket.SetSocketOption(IP_MULTICAST_TTL, 4), 0);
}

TEST(ClosedIPSocket, MayBeShutDownAndClosedAgain)
{
    VEXIPSocket socket;
    socket.Shutdown(0);
    socket.Close();
    EXPECT_FALSE(socket.IsOpen());
}

TEST(SocketOption, Number35JoinsAMulticastGroup)
{
    ip_mreq membership{};
    membership.imr_multiaddr = test::SocketAddressOf("239.255.255.250", 0).sin_addr;
    membership.imr_interface = test::SocketAddressOf(test::kOwnAddress, 0).sin_addr;
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", test::kPort), 0);
    ASSERT_EQ(socket.SetSocketOption(35, membership), 0);

    test::PeerSocket peer(test::kPort, test::kPeerAddress);
    peer.JoinMulticast();
    peer.SendTo("NOTIFY", "239.255.255.250", test::kPort);
    const test::Polled polled = test::PollOnce(socket, test::kGenerousMs);
    EXPECT_EQ(polled.datagram, "NOTIFY");
    EXPECT_EQ(polled.sender, "192.0.2.20:1900");
}

TEST(SocketOption, ThatTheSystemRefusesFails)
{
    ip_mreq membership{};
    membership.imr_multiaddr =
        test::SocketAddressOf("192.0.2.1", 0).sin_addr; // not a multicast group
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", test::kPort), 0);
    EXPECT_LT(socket.SetSocketOption(35, membership), 0);
    EXPECT_LT(socket.SetSocketOption(-1, 0), 0);
    EXPECT_TRUE(socket.IsOpen());
}

TEST(Netmask, IsThatOfTheAddress)
{
    const auto netmaskOf = [](const char *address) {
        return ntohl(VEXIPSocket().GetNetmask(address).s_addr);
    };
    test::OnHost("ip addr add 192.0.2.130/30 dev net0");
    EXPECT_EQ(netmaskOf("192.0.2.10"), 0xFFFFFF00U);
    EXPECT_EQ(netmaskOf("192.0.2.130"), 0xFFFFFFFCU);
    EXPECT_EQ(netmaskOf("127.0.0.1"), 0xFF000000U);
    test::OnHost("ip addr del 192.0.2.130/30 dev net0");
}

TEST(Netmask, OfAnAddressThatNoInterfaceHasIs0)
{
    for (const char *address : {"192.0.2.130", "192.0.2.20", "0.0.0.0", "", "no address", "::1"}) {
        EXPECT_EQ(VEXIPSocket().GetNetmask(address).s_addr, 0U) << address;
    }
}
