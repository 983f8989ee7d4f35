// Shutdown and Close while other threads use the socket.
#include "support/blocked_thread.h"
#include "unit/vexbase/sockets.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <functional>
#include <future>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>
#include <vector>

using test::AwaitBlocked;
using test::kGenerousMs;
using test::kOwnAddress;
using test::kPort;
using test::PeerSocket;
using test::PollOnce;
using test::SocketAddressOf;
using test::WriteText;

namespace {

using Clock = std::chrono::steady_clock;

// Much shorter than kGenerousMs, much longer than a busy machine needs to wake a thread.
constexpr auto kAtOnce = std::chrono::seconds(10);

// The two ways of waiting for a datagram: on a quiet socket, and while datagrams flow.
constexpr std::array<bool, 2> kQuietAndFlowing{false, true};

void OpenForWaiting(VEXUDPSocket &socket, bool flowing)
{
    ASSERT_EQ(socket.Open("", kPort), 0);
    if (flowing) {
        ASSERT_EQ(WriteText(socket, "first", SocketAddressOf("127.0.0.1", kPort)), 5);
        ASSERT_EQ(PollOnce(socket, kGenerousMs).datagram, "first");
    }
}

// Opens the socket on a port that was just closed. A program that reads /proc/<pid>/fd at
// that moment keeps the port in use for some microseconds longer.
void OpenOnceFree(VEXUDPSocket &socket, std::uint16_t port)
{
    const auto start = Clock::now();
    while (socket.Open("127.0.0.1", port) != 0) {
        ASSERT_EQ(errno, EADDRINUSE);
        ASSERT_LT(Clock::now() - start, kAtOnce);
    }
}

// A thread that waits in Poll, and the result of Poll.
class Poller
{
public:
    Poller(VEXUDPSocket &socket, unsigned int timeoutMs)
        : mResult(std::async(std::launch::async, [this, &socket, timeoutMs] {
              mThreadId = gettid();
              return PollOnce(socket, timeoutMs).datagram;
          }))
    {
        while (mThreadId == 0) {
            std::this_thread::yield();
        }
        AwaitBlocked(mThreadId);
    }

    [[nodiscard]] pid_t ThreadId() const { return mThreadId; }
    [[nodiscard]] std::string Result() { return mResult.get(); }
    [[nodiscard]] bool IsDone() const
    {
        return mResult.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    }

private:
    std::atomic<pid_t> mThreadId{0};
    std::future<std::string> mResult;
};

// Sends without a pause until it is destroyed.
class Flood
{
public:
    explicit Flood(std::uint16_t port) : mThread([this, port] { Run(port); }) {}
    Flood(const Flood &) = delete;
    Flood &operator=(const Flood &) = delete;
    ~Flood()
    {
        mStop = true;
        mThread.join();
    }

private:
    void Run(std::uint16_t port)
    {
        VEXUDPSocket socket;
        EXPECT_EQ(socket.Open("127.0.0.1", 0), 0);
        while (!mStop) {
            WriteText(socket, "flood", SocketAddressOf("127.0.0.1", port));
        }
    }

    std::atomic<bool> mStop{false};
    std::thread mThread;
};

std::atomic<int> gSignals{0};

// Until it is destroyed, counts the signals SIGUSR1, which interrupt system calls.
class SignalCounter
{
public:
    SignalCounter()
    {
        struct sigaction action = {};
        action.sa_handler = [](int) { ++gSignals; };
        EXPECT_EQ(sigaction(SIGUSR1, &action, &mFormer), 0);
    }
    SignalCounter(const SignalCounter &) = delete;
    SignalCounter &operator=(const SignalCounter &) = delete;
    ~SignalCounter() { sigaction(SIGUSR1, &mFormer, nullptr); }

private:
    struct sigaction mFormer = {};
};

// Reads from a socket during a flood until an operation ends the reading.
void ExpectEndOfAnEndlessRead(const std::function<void(VEXUDPSocket &)> &end)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("127.0.0.1", kPort), 0);
    const Flood flood(kPort);
    std::promise<void> reading;
    auto reader = std::async(std::launch::async, [&] {
        EXPECT_EQ(PollOnce(socket, kGenerousMs).datagram, "flood");
        reading.set_value();
        while (!PollOnce(socket, vexbase::kInfinite).datagram.empty()) {
        }
    });
    reading.get_future().wait();
    end(socket);
    EXPECT_EQ(reader.wait_for(std::chrono::milliseconds(kGenerousMs)), std::future_status::ready);
}

} // namespace

TEST(UDPSocketShutdown, OfReceivingWakesABlockedPoll)
{
    for (const bool flowing : kQuietAndFlowing) {
        for (const unsigned int timeoutMs : {kGenerousMs, vexbase::kInfinite}) {
            VEXUDPSocket socket;
            OpenForWaiting(socket, flowing);
            Poller poller(socket, timeoutMs);
            const auto start = Clock::now();
            socket.Shutdown(0);
            EXPECT_EQ(poller.Result(), "");
            EXPECT_LT(Clock::now() - start, kAtOnce);
            EXPECT_TRUE(socket.IsOpen());
        }
    }
}

TEST(UDPSocketShutdown, OfReceivingEndsItEvenWithQueuedDatagrams)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("127.0.0.1", kPort), 0);
    ASSERT_EQ(WriteText(socket, "queued", SocketAddressOf("127.0.0.1", kPort)), 6);
    socket.Shutdown(0);
    EXPECT_EQ(PollOnce(socket, vexbase::kInfinite).datagram, "");
    EXPECT_EQ(WriteText(socket, "later", SocketAddressOf("127.0.0.1", kPort)), 5);
    EXPECT_EQ(PollOnce(socket, vexbase::kInfinite).datagram, "");
}

TEST(UDPSocketShutdown, OfSendingDoesNotEndReceiving)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", kPort), 0);
    Poller poller(socket, kGenerousMs);
    socket.Shutdown(1);
    EXPECT_LT(WriteText(socket, "text", SocketAddressOf("127.0.0.1", kPort)), 0);
    PeerSocket peer;
    peer.SendTo("received", kOwnAddress, kPort);
    EXPECT_EQ(poller.Result(), "received");
}

TEST(UDPSocketShutdown, OfBothEndsBoth)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("127.0.0.1", kPort), 0);
    Poller poller(socket, vexbase::kInfinite);
    socket.Shutdown(2);
    EXPECT_EQ(poller.Result(), "");
    EXPECT_LT(WriteText(socket, "text", SocketAddressOf("127.0.0.1", kPort)), 0);
    EXPECT_EQ(PollOnce(socket, vexbase::kInfinite).datagram, "");
}

TEST(UDPSocketShutdown, LastsUntilTheSocketIsOpenedAgain)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", kPort), 0);
    socket.Shutdown(2);
    socket.Close();
    ASSERT_EQ(socket.Open("127.0.0.1", kPort), 0);
    EXPECT_EQ(WriteText(socket, "again", SocketAddressOf("127.0.0.1", kPort)), 5);
    EXPECT_EQ(PollOnce(socket, kGenerousMs).datagram, "again");
}

TEST(UDPSocketShutdown, TakesEffectDuringAFlood)
{
    ExpectEndOfAnEndlessRead([](VEXUDPSocket &socket) { socket.Shutdown(0); });
}

TEST(UDPSocketClose, WakesABlockedPoll)
{
    for (const bool flowing : kQuietAndFlowing) {
        for (const unsigned int timeoutMs : {kGenerousMs, vexbase::kInfinite}) {
            VEXUDPSocket socket;
            OpenForWaiting(socket, flowing);
            Poller poller(socket, timeoutMs);
            const auto start = Clock::now();
            socket.Close();
            EXPECT_EQ(poller.Result(), "");
            EXPECT_LT(Clock::now() - start, kAtOnce);
            EXPECT_FALSE(socket.IsOpen());
        }
    }
}

TEST(UDPSocketClose, TakesEffectDuringAFlood)
{
    ExpectEndOfAnEndlessRead([](VEXUDPSocket &socket) { socket.Close(); });
}

TEST(UDPSocketClose, FreesThePortBeforeItReturns)
{
    for (int round = 0; round < 200; ++round) {
        VEXUDPSocket first;
        VEXUDPSocket second;
        ASSERT_EQ(first.Open("", kPort), 0);
        auto reader = std::async(std::launch::async, [&] { PollOnce(first, vexbase::kInfinite); });
        first.Close();
        ASSERT_EQ(second.Open("", kPort), 0);
    }
}

TEST(UDPSocketClose, ByTwoThreadsIsCompleteWhenEitherReturns)
{
    for (int round = 0; round < 200; ++round) {
        VEXUDPSocket socket;
        ASSERT_EQ(socket.Open("", kPort), 0);
        auto reader = std::async(std::launch::async, [&] { PollOnce(socket, vexbase::kInfinite); });
        auto other = std::async(std::launch::async, [&] { socket.Close(); });
        socket.Close();
        ASSERT_FALSE(socket.IsOpen());
        VEXUDPSocket second;
        ASSERT_EQ(second.Open("", kPort), 0);
        other.wait();
    }
}

TEST(UDPSocketClose, MayBeRepeated)
{
    VEXUDPSocket socket;
    socket.Close();
    ASSERT_EQ(socket.Open("", kPort), 0);
    socket.Close();
    socket.Close();
    EXPECT_FALSE(socket.IsOpen());
}

TEST(UDPSocketPoll, IsNotEndedByASignal)
{
    const SignalCounter signals;
    for (const bool flowing : kQuietAndFlowing) {
        VEXUDPSocket socket;
        OpenForWaiting(socket, flowing);
        Poller poller(socket, flowing ? kGenerousMs : vexbase::kInfinite);
        const pid_t threadId = poller.ThreadId();
        for (int i = 0; i < 3; ++i) {
            const int before = gSignals;
            ASSERT_EQ(tgkill(getpid(), threadId, SIGUSR1), 0);
            while (gSignals == before) {
                std::this_thread::yield();
            }
            AwaitBlocked(threadId); // again
        }
        PeerSocket peer;
        peer.SendTo("after the signals", kOwnAddress, kPort);
        EXPECT_EQ(poller.Result(), "after the signals");
    }
}

TEST(UDPSocketPoll, IsNotProlongedBySignals)
{
    const SignalCounter signals;
    for (const bool flowing : kQuietAndFlowing) {
        VEXUDPSocket socket;
        OpenForWaiting(socket, flowing);
        Poller poller(socket, 200);
        const auto start = Clock::now();
        while (!poller.IsDone() && Clock::now() - start < kAtOnce) {
            tgkill(getpid(), poller.ThreadId(), SIGUSR1);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        EXPECT_LT(Clock::now() - start, kAtOnce);
        EXPECT_EQ(poller.Result(), "");
    }
}

// Opens and closes a socket repeatedly. One thread receives, one sends, and one makes other
// sockets, which get the descriptor numbers that were just released. No socket may get
// another one's datagrams.
TEST(UDPSocketClose, NeverLetsAThreadUseAReusedDescriptor)
{
    constexpr int kRounds = 1000;
    VEXUDPSocket socket;
    std::atomic<bool> stop{false};
    std::atomic<long> received{0};
    std::atomic<long> recycled{0};

    std::vector<std::thread> threads;
    threads.emplace_back([&] {
        while (!stop) {
            const test::Polled polled = PollOnce(socket, 5);
            if (!polled.datagram.empty()) {
                EXPECT_EQ(polled.datagram, "own");
                EXPECT_EQ(polled.sender, "127.0.0.1:1900");
                ++received;
            }
        }
    });
    threads.emplace_back([&] {
        while (!stop) {
            WriteText(socket, "own", SocketAddressOf("127.0.0.1", kPort));
            std::this_thread::yield();
        }
    });
    threads.emplace_back([&] {
        while (!stop) {
            VEXUDPSocket other;
            OpenOnceFree(other, 1901);
            ASSERT_EQ(WriteText(other, "foreign", SocketAddressOf("127.0.0.1", 1901)), 7);
            const test::Polled polled = PollOnce(other, kGenerousMs);
            EXPECT_EQ(polled.datagram, "foreign");
            EXPECT_EQ(polled.sender, "127.0.0.1:1901");
            ++recycled;
        }
    });

    for (int round = 0; round < kRounds; ++round) {
        OpenOnceFree(socket, kPort);
        const long before = received;
        while (round % 4 == 0 && received == before) {
            std::this_thread::yield();
        }
        socket.Shutdown(round % 3);
        socket.Close();
    }
    stop = true;
    for (auto &thread : threads) {
        thread.join();
    }
    EXPECT_GE(received, kRounds / 4);
    EXPECT_GT(recycled, 0);
}
