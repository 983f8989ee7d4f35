#include "ssdp/own_link.h"

#include "support/fake_environment.h"

#include <gtest/gtest.h>
#include <limits>

using ssdp::OwnLink;
using test::AddressOf;

namespace {

class OwnLinkTest : public testing::Test
{
protected:
    OwnLinkTest() { mLink.AddInterface("192.0.2.10", "net0", AddressOf("255.255.255.0")); }

    [[nodiscard]] bool CanBePeer(const char *address) const
    {
        return mLink.CanBePeer(AddressOf(address));
    }

    // Whether many more bytes than the budget may be sent to the address.
    [[nodiscard]] bool Unlimited(const char *address)
    {
        return mLink.SpendFor(AddressOf(address), std::numeric_limits<std::uint32_t>::max());
    }

    OwnLink mLink;
};

} // namespace

TEST_F(OwnLinkTest, FindsItsAddressesAsTextAndAsBinary)
{
    mLink.AddInterface("192.0.2.11", "net0", {});
    for (const char *address : {"192.0.2.10", "192.0.2.11"}) {
        EXPECT_TRUE(mLink.IsOwnAddress(std::string_view(address))) << address;
        EXPECT_TRUE(mLink.IsOwnAddress(AddressOf(address))) << address;
    }
    for (const char *address : {"192.0.2.1", "0.0.0.0", "127.0.0.1", "255.255.255.255"}) {
        EXPECT_FALSE(mLink.IsOwnAddress(std::string_view(address))) << address;
        EXPECT_FALSE(mLink.IsOwnAddress(AddressOf(address))) << address;
    }
    EXPECT_FALSE(mLink.IsOwnAddress("192.0.2.010"));
    EXPECT_EQ(mLink.Interfaces(),
              (OwnLink::InterfaceMap{{"192.0.2.10", "net0"}, {"192.0.2.11", "net0"}}));
}

TEST_F(OwnLinkTest, TextThatIsNoAddressMatchesNoBinaryAddress)
{
    mLink.AddInterface("no address", "net1", AddressOf("255.255.255.0"));
    EXPECT_TRUE(mLink.IsOwnAddress("no address"));
    EXPECT_FALSE(mLink.IsOwnAddress(AddressOf("0.0.0.0")));
}

TEST_F(OwnLinkTest, ClearInterfacesRemovesAddressesAndSubnets)
{
    mLink.ClearInterfaces();
    EXPECT_TRUE(mLink.Interfaces().empty());
    EXPECT_FALSE(mLink.IsOwnAddress("192.0.2.10"));
    EXPECT_FALSE(mLink.IsOwnAddress(AddressOf("192.0.2.10")));
    EXPECT_TRUE(CanBePeer("192.0.2.255"));
    EXPECT_FALSE(Unlimited("192.0.2.20"));
}

TEST_F(OwnLinkTest, LoopbackMulticastAndReservedAddressesAreNoPeers)
{
    for (const char *address :
         {"0.0.0.0", "0.255.255.255", "127.0.0.0", "127.0.0.1", "127.255.255.255", "224.0.0.0",
          "239.255.255.250", "239.255.255.255", "240.0.0.0", "255.255.255.255"}) {
        EXPECT_FALSE(CanBePeer(address)) << address;
    }
    for (const char *address : {"1.0.0.0", "126.255.255.255", "128.0.0.0", "223.255.255.255",
                                "192.0.2.20", "192.0.2.10", "169.254.1.1", "10.0.0.1"}) {
        EXPECT_TRUE(CanBePeer(address)) << address;
    }
}

TEST_F(OwnLinkTest, SubnetBroadcastAddressIsNoPeer)
{
    mLink.AddInterface("198.51.100.9", "net1", AddressOf("255.255.255.248"));
    EXPECT_FALSE(CanBePeer("192.0.2.255"));
    EXPECT_TRUE(CanBePeer("192.0.2.254"));
    EXPECT_TRUE(CanBePeer("192.0.3.255"));
    EXPECT_FALSE(CanBePeer("198.51.100.15"));
    EXPECT_TRUE(CanBePeer("198.51.100.7"));
    EXPECT_TRUE(CanBePeer("198.51.100.255"));
}

TEST_F(OwnLinkTest, SubnetOfAllAddressesHasNoBroadcastAddressOfItsOwn)
{
    mLink.AddInterface("198.51.100.8", "net1", AddressOf("0.0.0.0"));
    EXPECT_TRUE(CanBePeer("198.51.100.255"));
    EXPECT_TRUE(CanBePeer("223.255.255.255"));
}

TEST_F(OwnLinkTest, SubnetOfOneOrTwoAddressesHasNoBroadcastAddress)
{
    mLink.AddInterface("198.51.100.8", "net1", AddressOf("255.255.255.254"));
    mLink.AddInterface("203.0.113.1", "net2", AddressOf("255.255.255.255"));
    EXPECT_TRUE(CanBePeer("198.51.100.9"));
    EXPECT_TRUE(CanBePeer("203.0.113.1"));
}

TEST_F(OwnLinkTest, BytesOnTheLinkAreNotLimited)
{
    EXPECT_TRUE(Unlimited("192.0.2.0"));
    EXPECT_TRUE(Unlimited("192.0.2.20"));
    EXPECT_TRUE(Unlimited("192.0.2.255"));
    EXPECT_FALSE(Unlimited("192.0.1.255"));
    EXPECT_FALSE(Unlimited("192.0.3.0"));
    mLink.AddInterface("198.51.100.9", "net1", AddressOf("255.255.255.248"));
    EXPECT_TRUE(Unlimited("198.51.100.14"));
    EXPECT_FALSE(Unlimited("198.51.100.16"));
}

TEST_F(OwnLinkTest, NoPeerIsOnTheLinkWithoutANetmask)
{
    mLink.ClearInterfaces();
    mLink.AddInterface("192.0.2.10", "net0", in_addr{});
    EXPECT_FALSE(Unlimited("192.0.2.20"));
    EXPECT_FALSE(Unlimited("192.0.2.10"));
    EXPECT_TRUE(CanBePeer("192.0.2.255"));
}

TEST_F(OwnLinkTest, PeersOffTheLinkShare64KiBAtOnceAnd16KiBASecond)
{
    const in_addr one = AddressOf("198.51.100.1");
    const in_addr other = AddressOf("203.0.113.1");
    EXPECT_FALSE(mLink.CanSpendFor(one, 65537));
    EXPECT_TRUE(mLink.CanSpendFor(one, 65536));
    EXPECT_TRUE(mLink.SpendFor(one, 65536));
    EXPECT_FALSE(mLink.CanSpendFor(other, 1));
    mLink.RefillBudget(1000);
    EXPECT_FALSE(mLink.SpendFor(other, 16385));
    EXPECT_TRUE(mLink.SpendFor(other, 16384));
    EXPECT_FALSE(mLink.SpendFor(one, 1));
}

TEST_F(OwnLinkTest, SendersOfOtherSubnetsCountAsOneHolder)
{
    EXPECT_EQ(mLink.HolderOf(AddressOf("192.0.2.20")), AddressOf("192.0.2.20").s_addr);
    EXPECT_EQ(mLink.HolderOf(AddressOf("198.51.100.1")), 0U);
    EXPECT_EQ(mLink.HolderOf(AddressOf("203.0.113.1")), 0U);
}
