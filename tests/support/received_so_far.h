#pragma once

#include "support/addresses.h"
#include "support/private_namespace.h"
#include "vexbase/vex_udp_socket.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace test {

// Returns all datagrams that have arrived at a peer's socket and were not read yet. Does not
// wait for further ones: sends a marker datagram to the socket and reads up to it.
// REQUIRES: a OneProcessor.
inline std::vector<std::string> ReceivedSoFar(PeerSocket &peer)
{
    const std::string mark = "end of what was sent so far";
    VEXUDPSocket socket;
    EXPECT_EQ(socket.Open("", 0), vexbase::kSuccess);
    EXPECT_GT(socket.Write(mark.data(), mark.size(), SocketAddressOf(kPeerAddress, peer.Port())),
              0);
    std::vector<std::string> received;
    std::string datagram = peer.Receive();
    while (datagram != mark && !datagram.empty()) {
        received.push_back(datagram);
        datagram = peer.Receive();
    }
    EXPECT_EQ(datagram, mark);
    return received;
}

} // namespace test
