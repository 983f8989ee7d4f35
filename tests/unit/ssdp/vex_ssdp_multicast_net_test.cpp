#include "engine_fixture.h"

// The multicast group, and the interface of multicast datagrams.

using test::Goodbye;
using test::kCorvia;
using test::kCorviaFile;
using test::PeerSocket;
using test::Search;
using test::SearchAnswer;

namespace {

using Multicast = test::EngineTest;

} // namespace

TEST_F(Multicast, SearchFromTheEngineItselfIsAnswered)
{
    // The engine's socket is bound to any address. This one is bound to the exact address,
    // so the kernel prefers it for the answer.
    VEXUDPSocket own;
    ASSERT_EQ(own.Open(test::kOwnAddress, 1900, VEXUDPSocket::Port::Shared), vexbase::kSuccess);
    OpenAnnounced();
    EXPECT_EQ(test::Receive(own), SearchAnswer(kCorvia, kCorviaFile));
}

TEST_F(Multicast, SearchesToTheGroupAndToTheAddressAreAnsweredAlike)
{
    OpenAnnounced();
    PeerSocket asker;
    asker.JoinMulticast();
    asker.SendTo(Search("ssdp:all"), "239.255.255.250", 1900);
    EXPECT_EQ(asker.Receive(), SearchAnswer(kCorvia, kCorviaFile));
    asker.SendTo(Search("ssdp:all"), test::kOwnAddress, 1900);
    EXPECT_EQ(asker.Receive(), SearchAnswer(kCorvia, kCorviaFile));
}

TEST_F(Multicast, IsSentThroughTheChosenInterfaceInSpiteOfTheDefaultRoute)
{
    test::OnHost("ip link add other0 type veth peer name other1 && "
                 "ip addr add 192.0.2.129/30 dev other0 && ip link set other0 up && "
                 "ip link set other1 up && ip route add default dev other0");
    OpenAnnounced();
    mEngine.Close();
    EXPECT_EQ(mPeer.Receive(), Goodbye(kCorvia, kCorviaFile));
    test::OnHost("ip link del other0");
}

TEST_F(Multicast, GoodbyeIsSentAfterTheAddressHasChanged)
{
    OpenAnnounced(); // without any route to the group
    test::OnHost("ip addr del 192.0.2.10/24 dev net0 && ip addr add 192.0.2.30/24 dev net0");
    mEngine.Close();
    EXPECT_EQ(mPeer.Receive(), Goodbye(kCorvia, kCorviaFile));
    test::OnHost("ip addr del 192.0.2.30/24 dev net0 && ip addr add 192.0.2.10/24 dev net0");
}
