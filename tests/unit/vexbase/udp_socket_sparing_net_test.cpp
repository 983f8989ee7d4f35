#include "unit/vexbase/sockets.h"

#include <gtest/gtest.h>

// The part of the send buffer that WriteSparing reserves.

using test::kPeerAddress;
using test::kPort;
using test::PeerSocket;
using test::SocketAddressOf;
using test::WriteText;

namespace {

int WriteSparing(VEXUDPSocket &socket, const std::string &text, const sockaddr_in &destination,
                 int sparedPercent)
{
    return socket.WriteSparing(text.data(), text.size(), destination, sparedPercent);
}

} // namespace

TEST(UDPSocketWriteSparing, SendsWhenTheBufferIsEmpty)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", kPort), 0);
    PeerSocket peer;
    EXPECT_EQ(WriteSparing(socket, "text", SocketAddressOf(kPeerAddress, peer.Port()), 100), 4);
    EXPECT_EQ(peer.Receive(), "text");
}

TEST(UDPSocketWriteSparing, LeavesRoomWhenDatagramsForAMissingHostAreQueued)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", kPort), 0);
    PeerSocket peer;
    const sockaddr_in there = SocketAddressOf(kPeerAddress, peer.Port());
    const sockaddr_in nowhere = SocketAddressOf("192.0.2.99", kPort);
    int sent = 0;
    while (WriteSparing(socket, std::string(1000, 'x'), nowhere, 50) > 0) {
        ASSERT_LT(++sent, 100000);
    }
    EXPECT_GT(sent, 10);
    EXPECT_LT(WriteSparing(socket, "request", there, 50), 0);
    EXPECT_EQ(WriteSparing(socket, "answer", there, 25), 6);
    EXPECT_EQ(WriteText(socket, "announcement", there), 12);
    EXPECT_EQ(peer.Receive(), "answer");
    EXPECT_EQ(peer.Receive(), "announcement");
}

TEST(UDPSocketWriteSparing, OfAClosedSocketIsRefused)
{
    VEXUDPSocket socket;
    EXPECT_LT(WriteSparing(socket, "text", SocketAddressOf(kPeerAddress, kPort), 0), 0);
}
