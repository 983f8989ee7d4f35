#include "unit/vexbase/forbidden_calls.h"
#include "unit/vexbase/sockets.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

using test::kGenerousMs;
using test::kOwnAddress;
using test::kPeerAddress;
using test::kPort;
using test::PeerSocket;
using test::SocketAddressOf;
using test::WriteText;

namespace {

std::vector<std::string> Texts(const vexbase::DatagramBatch &batch)
{
    std::vector<std::string> texts;
    for (std::size_t index = 0; index < batch.Count(); ++index) {
        texts.emplace_back(batch.Datagram(index));
    }
    return texts;
}

} // namespace

TEST(UDPSocketPollBatch, ReturnsAllQueuedDatagramsInOrderWithTheirSenders)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", kPort), 0);
    PeerSocket one(1901, kPeerAddress);
    PeerSocket two(1902, kPeerAddress);
    const std::string second("any\0bytes\xff", 10);
    one.SendTo("first", kOwnAddress, kPort);
    two.SendTo(second, kOwnAddress, kPort);
    one.SendTo("third", kOwnAddress, kPort);
    vexbase::DatagramBatch batch(1500);
    ASSERT_EQ(socket.Poll(batch, kGenerousMs), 3U);
    EXPECT_EQ(Texts(batch), (std::vector<std::string>{"first", second, "third"}));
    EXPECT_EQ(test::Text(batch.Sender(0)), "192.0.2.20:1901");
    EXPECT_EQ(test::Text(batch.Sender(1)), "192.0.2.20:1902");
    EXPECT_EQ(test::Text(batch.Sender(2)), "192.0.2.20:1901");
}

TEST(UDPSocketPollBatch, LeavesTheRestForTheNextCall)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("127.0.0.1", kPort), 0);
    std::vector<std::string> sent;
    for (std::size_t number = 0; number < 2 * vexbase::DatagramBatch::kCapacity + 3; ++number) {
        sent.push_back(std::to_string(number));
        ASSERT_GT(WriteText(socket, sent.back(), SocketAddressOf("127.0.0.1", kPort)), 0);
    }
    vexbase::DatagramBatch batch(1500);
    std::vector<std::string> received;
    for (const std::size_t expected :
         {vexbase::DatagramBatch::kCapacity, vexbase::DatagramBatch::kCapacity, std::size_t{3},
          std::size_t{0}}) {
        EXPECT_EQ(socket.Poll(batch, expected == 0 ? 0 : kGenerousMs), expected);
        for (const std::string &text : Texts(batch)) {
            received.push_back(text);
        }
    }
    EXPECT_EQ(received, sent);
}

TEST(UDPSocketPollBatch, CutsLongDatagramsAndEndsEachWithANul)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", kPort), 0);
    PeerSocket peer;
    vexbase::DatagramBatch batch(1500);
    for (int round = 0; round < 2; ++round) { // the second round overwrites the first
        peer.SendTo(std::string(1500, 'a'), kOwnAddress, kPort);
        peer.SendTo(std::string(1501, 'b'), kOwnAddress, kPort);
        peer.SendTo("next", kOwnAddress, kPort);
        ASSERT_EQ(socket.Poll(batch, kGenerousMs), 3U);
        EXPECT_EQ(Texts(batch), (std::vector<std::string>{std::string(1500, 'a'),
                                                          std::string(1500, 'b'), "next"}));
        for (std::size_t index = 0; index < 3; ++index) {
            EXPECT_EQ(batch.Datagram(index).data()[batch.Datagram(index).size()], '\0');
        }
        peer.SendTo("x", kOwnAddress, kPort);
        ASSERT_EQ(socket.Poll(batch, kGenerousMs), 1U);
    }
}

TEST(UDPSocketPollBatch, DoesNotCountEmptyDatagrams)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", kPort), 0);
    PeerSocket one(1901, kPeerAddress);
    PeerSocket two(1902, kPeerAddress);
    vexbase::DatagramBatch batch(1500);
    one.SendTo("", kOwnAddress, kPort);
    EXPECT_EQ(socket.Poll(batch, vexbase::kInfinite), 0U);
    one.SendTo("", kOwnAddress, kPort);
    two.SendTo("first", kOwnAddress, kPort);
    one.SendTo("", kOwnAddress, kPort);
    two.SendTo("second", kOwnAddress, kPort);
    EXPECT_EQ(socket.Poll(batch, kGenerousMs), 2U);
    EXPECT_EQ(Texts(batch), (std::vector<std::string>{"first", "second"}));
    EXPECT_EQ(test::Text(batch.Sender(0)), "192.0.2.20:1902");
    EXPECT_EQ(test::Text(batch.Sender(1)), "192.0.2.20:1902");
    one.SendTo("next", kOwnAddress, kPort);
    EXPECT_EQ(socket.Poll(batch, kGenerousMs), 1U);
    EXPECT_EQ(Texts(batch), (std::vector<std::string>{"next"}));
    EXPECT_EQ(test::Text(batch.Sender(0)), "192.0.2.20:1901");
}

TEST(UDPSocketPollBatch, OfASilentOrClosedSocketIsEmpty)
{
    VEXUDPSocket socket;
    vexbase::DatagramBatch batch(1500);
    EXPECT_EQ(socket.Poll(batch, vexbase::kInfinite), 0U);
    ASSERT_EQ(socket.Open("", kPort), 0);
    PeerSocket peer;
    peer.SendTo("one", kOwnAddress, kPort);
    ASSERT_EQ(socket.Poll(batch, kGenerousMs), 1U);
    EXPECT_EQ(socket.Poll(batch, 150), 0U);
    EXPECT_EQ(batch.Count(), 0U);
    peer.SendTo("two", kOwnAddress, kPort);
    ASSERT_EQ(socket.Poll(batch, kGenerousMs), 1U);
    socket.Shutdown(0);
    peer.SendTo("too late", kOwnAddress, kPort);
    EXPECT_EQ(socket.Poll(batch, vexbase::kInfinite), 0U);
    EXPECT_EQ(batch.Count(), 0U);
}

// On a busy network this saves system calls: only one for each full batch.
TEST(UDPSocketPollBatch, CostsOneSystemCallForAll)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("127.0.0.1", kPort), 0);
    for (std::size_t number = 0; number < 4 * vexbase::DatagramBatch::kCapacity; ++number) {
        ASSERT_EQ(WriteText(socket, "queued", SocketAddressOf("127.0.0.1", kPort)), 6);
    }
    std::atomic<bool> refused{false};
    std::thread reader([&] {
        vexbase::DatagramBatch batch(1500);
        EXPECT_EQ(socket.Poll(batch, kGenerousMs), vexbase::DatagramBatch::kCapacity);
        EXPECT_EQ(socket.Poll(batch, kGenerousMs),
                  vexbase::DatagramBatch::kCapacity); // sets the time-out
        refused = !test::ForbidCalls({SYS_recvfrom, SYS_recvmsg, SYS_ppoll, SYS_setsockopt});
        EXPECT_EQ(socket.Poll(batch, kGenerousMs), vexbase::DatagramBatch::kCapacity);
        EXPECT_EQ(socket.Poll(batch, kGenerousMs), vexbase::DatagramBatch::kCapacity);
    });
    reader.join();
    if (refused) {
        GTEST_SKIP() << "the system has no filter for system calls";
    }
}
