#include "support/blocked_thread.h"
#include "unit/vexbase/forbidden_calls.h"
#include "unit/vexbase/sockets.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <set>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>
#include <vector>

using test::kGenerousMs;
using test::kOwnAddress;
using test::kPeerAddress;
using test::kPort;
using test::PeerSocket;
using test::PollOnce;
using test::SocketAddressOf;
using test::WriteText;

namespace {

std::set<int> OpenDescriptors()
{
    std::set<int> open;
    for (int descriptor = 0; descriptor < 1024; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) != -1) {
            open.insert(descriptor);
        }
    }
    return open;
}

// Forbids the calls that wait for a socket or read or set its options.
bool AllowReceivingOnlyHere()
{
    return test::ForbidCalls({
#ifdef SYS_poll
        SYS_poll,
#endif
        SYS_ppoll, SYS_setsockopt, SYS_getsockopt});
}

} // namespace

TEST(UDPSocketOpen, OnTheEmptyAddressReceivesOnEveryAddress)
{
    VEXUDPSocket socket;
    EXPECT_FALSE(socket.IsOpen());
    ASSERT_EQ(socket.Open("", kPort), 0);
    EXPECT_TRUE(socket.IsOpen());
    PeerSocket peer;
    peer.SendTo("from the peer", kOwnAddress, kPort);
    EXPECT_EQ(PollOnce(socket, kGenerousMs).datagram, "from the peer");
    ASSERT_EQ(WriteText(socket, "from the host", SocketAddressOf("127.0.0.1", kPort)), 13);
    EXPECT_EQ(PollOnce(socket, kGenerousMs).datagram, "from the host");
}

TEST(UDPSocketOpen, OnOneAddressReceivesThereOnly)
{
    VEXUDPSocket socket;
    VEXUDPSocket sender;
    ASSERT_EQ(socket.Open("127.0.0.1", kPort), 0);
    ASSERT_EQ(sender.Open("", 0), 0);
    EXPECT_EQ(WriteText(sender, "elsewhere", SocketAddressOf(kOwnAddress, kPort)), 9);
    EXPECT_EQ(WriteText(sender, "here", SocketAddressOf("127.0.0.1", kPort)), 4);
    EXPECT_EQ(PollOnce(socket, kGenerousMs).datagram, "here");
}

TEST(UDPSocketOpen, FailsForAnInvalidOrForeignAddress)
{
    VEXUDPSocket socket;
    const std::set<int> before = OpenDescriptors();
    for (const std::string address :
         {"net0", "192.0.2", "192.0.2.10 ", "0300.0.2.10", "::1", "192.0.2.256", "192.0.2.99"}) {
        EXPECT_LT(socket.Open(address, kPort), 0) << address;
        EXPECT_FALSE(socket.IsOpen());
    }
    EXPECT_LT(socket.Open(std::string("192.0.2.10\0x", 12), kPort), 0);
    EXPECT_EQ(OpenDescriptors(), before);
    EXPECT_EQ(socket.Open(kOwnAddress, kPort), 0);
}

TEST(UDPSocketOpen, FailsWhenThePortIsTaken)
{
    VEXUDPSocket first;
    VEXUDPSocket second;
    ASSERT_EQ(first.Open("", kPort), 0);
    EXPECT_LT(second.Open("", kPort), 0);
    EXPECT_EQ(errno, EADDRINUSE);
    EXPECT_LT(second.Open("", kPort, VEXUDPSocket::Port::Shared), 0);
    EXPECT_FALSE(second.IsOpen());
    first.Close();
    EXPECT_EQ(second.Open("", kPort), 0);
}

TEST(UDPSocketOpen, SharesAPortWithSocketsThatShareIt)
{
    VEXUDPSocket first;
    VEXUDPSocket second;
    VEXUDPSocket exclusive;
    ASSERT_EQ(first.Open("", kPort, VEXUDPSocket::Port::Shared), 0);
    EXPECT_EQ(second.Open("", kPort, VEXUDPSocket::Port::Shared), 0);
    EXPECT_LT(exclusive.Open("", kPort), 0);
}

TEST(UDPSocketOpen, OfAnOpenSocketFailsAndChangesNothing)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", kPort, VEXUDPSocket::Port::Shared), 0);
    const std::set<int> before = OpenDescriptors();
    EXPECT_LT(socket.Open("", kPort, VEXUDPSocket::Port::Shared), 0);
    EXPECT_LT(socket.Open("", kPort + 1), 0);
    EXPECT_EQ(OpenDescriptors(), before);
    PeerSocket peer;
    peer.SendTo("still here", kOwnAddress, kPort);
    EXPECT_EQ(PollOnce(socket, kGenerousMs).datagram, "still here");
    VEXUDPSocket other;
    EXPECT_EQ(other.Open("", kPort + 1), 0); // the failed Open did not take the port
}

TEST(UDPSocketOpen, IsNotInheritedByOtherPrograms)
{
    VEXUDPSocket socket;
    const std::set<int> before = OpenDescriptors();
    ASSERT_EQ(socket.Open("", kPort), 0);
    std::set<int> own = OpenDescriptors();
    for (const int descriptor : before) {
        own.erase(descriptor);
    }
    EXPECT_EQ(own.size(), 1U);
    for (const int descriptor : own) {
        EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC);
    }
    socket.Close();
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST(UDPSocketOpen, FailsWithoutSideEffectsWhenDescriptorsRunOut)
{
    rlimit former{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &former), 0);
    const std::set<int> before = OpenDescriptors();
    rlim_t firstFree = 0;
    while (before.count(static_cast<int>(firstFree)) != 0) {
        ++firstFree;
    }
    rlimit few = former;
    few.rlim_cur = firstFree;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    VEXUDPSocket socket;
    const int status = socket.Open("", kPort);
    setrlimit(RLIMIT_NOFILE, &former);
    EXPECT_LT(status, 0);
    EXPECT_FALSE(socket.IsOpen());
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST(UDPSocketReceiveBuffer, HoldsABurstOfTheRequestedSize)
{
    constexpr int kBurst = 500;
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", kPort), 0);
    EXPECT_GE(socket.SetReceiveBuffer(kBurst * 2304), kBurst * 2304); // root may set any size
    PeerSocket peer;
    for (int sent = 0; sent < kBurst; ++sent) {
        peer.SendTo(std::string(1400, 'x'), kOwnAddress, kPort);
    }
    int received = 0;
    while (PollOnce(socket, 0).datagram.size() == 1400) {
        ++received;
    }
    EXPECT_EQ(received, kBurst);
}

TEST(UDPSocketReceiveBuffer, OfAClosedSocketIsRefused)
{
    VEXUDPSocket socket;
    EXPECT_LT(socket.SetReceiveBuffer(65536), 0);
}

TEST(UDPSocketPoll, ReturnsADatagramAndItsSender)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", kPort), 0);
    PeerSocket peer(1901, kPeerAddress);
    const std::string datagram("any\0bytes\xff", 10);
    peer.SendTo(datagram, kOwnAddress, kPort);
    const test::Polled polled = PollOnce(socket, kGenerousMs);
    EXPECT_EQ(polled.datagram, datagram);
    EXPECT_EQ(polled.sender, "192.0.2.20:1901");
}

TEST(UDPSocketPoll, CutsALongDatagramToTheSize)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", kPort), 0);
    PeerSocket peer;
    peer.SendTo(std::string(1500, 'a'), kOwnAddress, kPort);
    peer.SendTo(std::string(1501, 'b'), kOwnAddress, kPort);
    peer.SendTo("next", kOwnAddress, kPort);
    EXPECT_EQ(PollOnce(socket, kGenerousMs).datagram, std::string(1500, 'a'));
    EXPECT_EQ(PollOnce(socket, kGenerousMs).datagram, std::string(1500, 'b'));
    EXPECT_EQ(PollOnce(socket, kGenerousMs).datagram, "next");
}

TEST(UDPSocketPoll, ReturnsNothingWhenTheTimeIsOver)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", kPort), 0);
    EXPECT_EQ(PollOnce(socket, 0).datagram, "");
    const auto start = std::chrono::steady_clock::now();
    const test::Polled polled = PollOnce(socket, 20);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
    EXPECT_EQ(polled.datagram, "");
    EXPECT_EQ(polled.sender, "");
}

TEST(UDPSocketPoll, OfAClosedSocketReturnsAtOnce)
{
    VEXUDPSocket socket;
    EXPECT_EQ(PollOnce(socket, vexbase::kInfinite).datagram, "");
    std::array<char, 10> buffer{};
    sockaddr_in sender{};
    EXPECT_EQ(socket.Read(buffer.data(), buffer.size(), sender), 0U);
}

TEST(UDPSocketPoll, ReturnsQueuedDatagramsInOrder)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("127.0.0.1", kPort), 0);
    for (int i = 0; i < 100; ++i) {
        ASSERT_GT(WriteText(socket, std::to_string(i), SocketAddressOf("127.0.0.1", kPort)), 0);
    }
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(PollOnce(socket, kGenerousMs).datagram, std::to_string(i));
    }
    EXPECT_EQ(PollOnce(socket, 0).datagram, "");
}

// A burst must be received before the system's queue overflows. Once the time-out is set,
// no other system calls are made than those that receive.
TEST(UDPSocketPoll, CostsOneSystemCallForEachDatagram)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("127.0.0.1", kPort), 0);
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(WriteText(socket, "queued", SocketAddressOf("127.0.0.1", kPort)), 6);
    }
    std::atomic<pid_t> threadId{0};
    std::atomic<bool> refused{false};
    std::thread reader([&] {
        EXPECT_EQ(PollOnce(socket, kGenerousMs).datagram, "queued");
        EXPECT_EQ(PollOnce(socket, kGenerousMs).datagram, "queued"); // sets the time-out
        refused = !AllowReceivingOnlyHere();
        for (int i = 2; i < 100; ++i) {
            EXPECT_EQ(PollOnce(socket, kGenerousMs).datagram, "queued");
        }
        threadId = gettid();
        EXPECT_EQ(PollOnce(socket, kGenerousMs).datagram, "waited for");
    });
    while (threadId == 0) {
        std::this_thread::yield();
    }
    test::AwaitBlocked(threadId);
    EXPECT_EQ(WriteText(socket, "waited for", SocketAddressOf("127.0.0.1", kPort)), 10);
    reader.join();
    if (refused) {
        GTEST_SKIP() << "the system has no filter for system calls";
    }
}

TEST(UDPSocketPoll, UsesTheTimeoutOfEachCall)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", kPort), 0);
    PeerSocket peer;
    for (const unsigned int timeoutMs : {kGenerousMs, vexbase::kInfinite}) {
        peer.SendTo("first", kOwnAddress, kPort);
        peer.SendTo("second", kOwnAddress, kPort);
        EXPECT_EQ(PollOnce(socket, timeoutMs).datagram, "first");
        EXPECT_EQ(PollOnce(socket, timeoutMs).datagram, "second");
        EXPECT_EQ(PollOnce(socket, 150).datagram, "");
        EXPECT_EQ(PollOnce(socket, 0).datagram, "");
    }
    // Opened again, the socket has no time-out from before.
    socket.Close();
    ASSERT_EQ(socket.Open("", kPort), 0);
    peer.SendTo("again", kOwnAddress, kPort);
    EXPECT_EQ(PollOnce(socket, kGenerousMs).datagram, "again");
    EXPECT_EQ(PollOnce(socket, 150).datagram, "");
}

TEST(UDPSocketPoll, ReturnsOnlyTheSenderOfAnEmptyDatagram)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", kPort), 0);
    PeerSocket peer;
    peer.SendTo("", kOwnAddress, kPort);
    peer.SendTo("full", kOwnAddress, kPort);
    const test::Polled empty = PollOnce(socket, kGenerousMs);
    EXPECT_EQ(empty.datagram, "");
    EXPECT_NE(empty.sender, ""); // this distinguishes it from a time-out
    EXPECT_EQ(PollOnce(socket, kGenerousMs).datagram, "full");
}

TEST(UDPSocketRead, ReturnsTheNextDatagram)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", kPort), 0);
    PeerSocket peer(1901, kPeerAddress);
    peer.SendTo("gh", kOwnAddress, kPort);
    std::array<char, 10> buffer{};
    sockaddr_in sender{};
    ASSERT_EQ(socket.Read(buffer.data(), buffer.size(), sender), 2U);
    EXPECT_EQ(std::string(buffer.data()), "gh");
    EXPECT_EQ(test::Text(sender), "192.0.2.20:1901");
}

TEST(UDPSocketWrite, SendsOneDatagramFromTheSocketsPort)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", kPort), 0);
    PeerSocket peer(1901, kPeerAddress);
    EXPECT_EQ(WriteText(socket, "M-SEARCH", SocketAddressOf(kPeerAddress, 1901)), 8);
    EXPECT_EQ(peer.Receive(), "M-SEARCH");
    VEXUDPSocket receiver;
    ASSERT_EQ(receiver.Open("127.0.0.1", 1901), 0);
    EXPECT_EQ(WriteText(socket, "local", SocketAddressOf("127.0.0.1", 1901)), 5);
    EXPECT_EQ(PollOnce(receiver, kGenerousMs).sender, "127.0.0.1:1900");
}

TEST(UDPSocketWrite, FailsWhenTheSocketIsClosed)
{
    VEXUDPSocket socket;
    EXPECT_LT(WriteText(socket, "text", SocketAddressOf("127.0.0.1", kPort)), 0);
    ASSERT_EQ(socket.Open("", kPort), 0);
    socket.Close();
    EXPECT_LT(WriteText(socket, "text", SocketAddressOf("127.0.0.1", kPort)), 0);
}

TEST(UDPSocketWrite, FailsWhenThereIsNoRouteOrTheDatagramIsTooLong)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", kPort), 0);
    EXPECT_LT(WriteText(socket, "text", SocketAddressOf("198.51.100.1", kPort)), 0);
    EXPECT_EQ(errno, ENETUNREACH);
    EXPECT_LT(WriteText(socket, std::string(65508, 'x'), SocketAddressOf("127.0.0.1", kPort)), 0);
}

// A peer's refusal must not affect the next datagram.
TEST(UDPSocketWrite, ContinuesAfterARefusalByTheDestination)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", kPort), 0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(WriteText(socket, "nobody there", SocketAddressOf("127.0.0.1", 1901)), 12);
    }
    PeerSocket peer;
    peer.SendTo("still here", kOwnAddress, kPort);
    EXPECT_EQ(PollOnce(socket, kGenerousMs).datagram, "still here");
}

TEST(UDPSocketWrite, DoesNotWaitForRoomInTheSendBuffer)
{
    test::OnHost("tc qdisc add dev net0 root tbf rate 8bit burst 1600 limit 100000000");
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", kPort), 0);
    const std::string datagram(1400, 'x');
    int sent = 0;
    while (sent < 100000 &&
           WriteText(socket, datagram, SocketAddressOf(kPeerAddress, 1901)) == 1400) {
        ++sent;
    }
    EXPECT_LT(sent, 100000); // the loop ended because Write failed
    test::OnHost("tc qdisc del dev net0 root");
}
