#include "engine_fixture.h"
#include "support/blocked_output.h"
#include "support/capture.h"

#include <atomic>
#include <chrono>
#include <gmock/gmock.h>
#include <thread>
#include <vector>

using test::Alive;
using test::Goodbye;
using test::kCorvia;
using test::kCorviaFile;
using test::kNet0;
using test::PeerNotify;
using test::Search;

namespace {

class Closing : public test::EngineTest
{
protected:
    std::vector<std::string> HeardSoFar() { return test::HeardSoFar(mPeer); }
};

} // namespace

TEST_F(Closing, SaysGoodbyeForEachServiceInTheOrderOfTheirNames)
{
    Add("ZR2");
    Add();
    ASSERT_EQ(mEngine.Open(kNet0), 1U);
    EXPECT_EQ(mPeer.ReceiveContaining("M-SEARCH"), Search("upnp:rootdevice"));
    mEngine.Close();
    EXPECT_EQ(mPeer.Receive(), Goodbye(kCorvia, kCorviaFile));
    EXPECT_EQ(mPeer.Receive(), Goodbye("ZR2", "zr2_upnp_ssdp_2.xml"));
    EXPECT_THAT(HeardSoFar(), testing::IsEmpty());
}

TEST_F(Closing, WithoutGoodbyesSendsNothing)
{
    OpenAnnounced();
    mEngine.Close(VEX_SSDP::Goodbye::Skip);
    EXPECT_THAT(HeardSoFar(), testing::IsEmpty());
    EXPECT_FALSE(mEngine.IsOpen());
}

TEST_F(Closing, GivesTheFileNumbersBack)
{
    for (const auto goodbye : {VEX_SSDP::Goodbye::Say, VEX_SSDP::Goodbye::Skip}) {
        OpenAnnounced(); // which wants the document to have number 1
        mEngine.Close(goodbye);
        HeardSoFar();
    }
}

TEST_F(Closing, OfAClosedEngineDoesNothing)
{
    const test::Output output = test::Capture([&] {
        mEngine.Close();
        mEngine.Close(VEX_SSDP::Goodbye::Skip);
    });
    EXPECT_EQ(output.out + output.err, "");
    EXPECT_THAT(HeardSoFar(), testing::IsEmpty());
}

TEST_F(Closing, TakesNoTimeWorthMentioning)
{
    OpenAnnounced();
    Settle();
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // both threads wait by then
    const auto start = std::chrono::steady_clock::now();
    mEngine.Close(VEX_SSDP::Goodbye::Skip); // its own goodbye would wake the engine
    // Both threads are blocked in their sockets; woken by nothing but the poll's
    // end, the first would keep Close waiting for more than four seconds.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST_F(Closing, FreesBothPorts)
{
    OpenAnnounced();
    mEngine.Close();
    VEXUDPSocket socket;
    EXPECT_EQ(socket.Open("", 1900), kVEXSuccess);
    socket.Close();
    EXPECT_EQ(socket.Open("", 49821), kVEXSuccess);
}

TEST_F(Closing, EmptiesTheListsAndReportsThatAsAChange)
{
    OpenAnnounced();
    SSDPDeviceMap known;
    ASSERT_EQ(mEngine.WaitForChange(0, known), kVEXSuccess);
    EXPECT_EQ(known.size(), 1U);
    mEngine.Close();
    ASSERT_EQ(mEngine.WaitForChange(0, known), kVEXSuccess);
    EXPECT_EQ(known.size(), 0U);
    mEngine.Close();
    EXPECT_EQ(mEngine.WaitForChange(0, known), kVEXTimedOut);
    ASSERT_EQ(mEngine.Open(kNet0), 1U);
    EXPECT_EQ(Ask("gh"), "HostList");
    EXPECT_EQ(Ask("gn"), "NodeList");
}

TEST_F(Closing, KeepsWhatIsQueuedForTheNextOpen)
{
    Add();
    mEngine.Close();
    ASSERT_EQ(mEngine.Open(kNet0), 1U);
    EXPECT_EQ(mPeer.Receive(), Alive(kCorvia, kCorviaFile));
}

// The datagram waits for the lock while Close, which came first, holds it.
TEST_F(Closing, DropsADatagramThatItOvertakes)
{
    const std::vector<std::string> datagrams{
        test::PeerDescription("Lumen", "beta"),
        PeerNotify("ssdp:alive", "Lumen", "nowhere"), // looked at, it would be told
        "HTTP/1.1 200 OK\r\n\r\n",                    // likewise
        "GET /" + std::string(kCorviaFile) + " HTTP/1.1\r\n\r\n",
        Search("ssdp:all"),
    };
    for (const std::string &datagram : datagrams) {
        const test::Output output = test::Capture([&] {
            OpenAnnounced();
            Settle();
            test::BlockedOutput blocked(STDOUT_FILENO);
            std::thread holder([this] { mEngine.DisplayNodeElements(); });
            test::BlockedOutput::LetOthersWait();
            std::thread closer([this] { mEngine.Close(VEX_SSDP::Goodbye::Skip); });
            test::BlockedOutput::LetOthersWait();
            ToEngine(datagram);
            test::BlockedOutput::LetOthersWait();
            blocked.End();
            holder.join();
            closer.join();
        });
        EXPECT_EQ(output.err, "") << datagram;
        SSDPDeviceMap known{{"before", {}}};
        EXPECT_EQ(mEngine.WaitForChange(0, known), kVEXSuccess);
        EXPECT_EQ(known.size(), 0U) << datagram;
        EXPECT_THAT(HeardSoFar(), testing::IsEmpty()) << datagram;
    }
}

// Closed at any moment of its start, the engine has either done the whole first
// pass or none of it, and the goodbye is its last word.
TEST_F(Closing, LetsNothingLeaveBehindTheGoodbye)
{
    std::atomic<bool> enough{false};
    std::atomic<int> left{0}; // so few that the answers fit the peer's receive queue
    std::thread searcher([this, &enough, &left] {
        while (!enough) {
            if (left > 0) {
                --left;
                ToEngine(Search("ssdp:all"));
                ToEngine(PeerNotify("ssdp:alive", "Lumen", "http://192.0.2.20:80/a.xml"));
            }
            std::this_thread::yield();
        }
    });
    int announced = 0;
    for (int round = 0; round < 60; ++round) {
        Add();
        left = 20;
        EXPECT_EQ(mEngine.Open(kNet0), 1U);
        std::this_thread::sleep_for(std::chrono::microseconds(50 * (round % 30)));
        mEngine.Close();
        const std::vector<std::string> heard = HeardSoFar();
        if (!heard.empty()) {
            ++announced;
            EXPECT_EQ(heard.front(), Alive(kCorvia, kCorviaFile));
            EXPECT_EQ(heard.back(), Goodbye(kCorvia, kCorviaFile));
        }
    }
    enough = true;
    searcher.join();
    EXPECT_GT(announced, 0);
}
