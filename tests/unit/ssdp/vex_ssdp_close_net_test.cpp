#include "engine_fixture.h"
#include "support/blocked_thread.h"
#include "support/capture.h"
#include "support/stuck_folder.h"

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
    std::vector<std::string> ReceivedSoFar() { return test::ReceivedSoFar(mPeer); }
};

} // namespace

TEST_F(Closing, WithoutGoodbyesSendsNothing)
{
    OpenAnnounced();
    mEngine.Close(VEX_SSDP::Goodbye::Skip);
    EXPECT_THAT(ReceivedSoFar(), testing::IsEmpty());
    EXPECT_FALSE(mEngine.IsOpen());
}

TEST_F(Closing, OfAClosedEngineDoesNothing)
{
    const test::Output output = test::Capture([&] {
        mEngine.Close();
        mEngine.Close(VEX_SSDP::Goodbye::Skip);
    });
    EXPECT_EQ(output.out + output.err, "");
    EXPECT_THAT(ReceivedSoFar(), testing::IsEmpty());
}

TEST_F(Closing, WakesBlockedThreads)
{
    OpenAnnounced();
    Settle();
    test::AwaitOthersBlocked();
    const auto start = std::chrono::steady_clock::now();
    // A goodbye would come back by multicast and wake the engine.
    mEngine.Close(VEX_SSDP::Goodbye::Skip);
    // Otherwise Close waits 4250 ms for a thread.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
}

TEST_F(Closing, FreesBothPorts)
{
    OpenAnnounced();
    mEngine.Close();
    VEXUDPSocket socket;
    EXPECT_EQ(socket.Open("", 1900), vexbase::kSuccess);
    socket.Close();
    EXPECT_EQ(socket.Open("", 49821), vexbase::kSuccess);
}

TEST_F(Closing, EmptiesTheListsAndReportsAChange)
{
    OpenAnnounced();
    formats::SSDPDeviceMap known;
    ASSERT_EQ(mEngine.WaitForChange(0, known), vexbase::kSuccess);
    EXPECT_EQ(known.size(), 1U);
    mEngine.Close();
    ASSERT_EQ(mEngine.WaitForChange(0, known), vexbase::kSuccess);
    EXPECT_EQ(known.size(), 0U);
    mEngine.Close();
    EXPECT_EQ(mEngine.WaitForChange(0, known), vexbase::kTimedOut);
    ASSERT_EQ(mEngine.Open(kNet0), 1U);
    EXPECT_EQ(Ask("gh"), "HostList");
    EXPECT_EQ(Ask("gn"), "NodeList");
}

TEST_F(Closing, SendsGoodbyeLast)
{
    OpenAnnounced();
    mEngine.Close();
    EXPECT_THAT(ReceivedSoFar(), testing::ElementsAre(Goodbye(kCorvia, kCorviaFile)));
}

TEST_F(Closing, DropsServicesAddedBeforeAndKeepsThoseAddedAfterIt)
{
    for (const bool open : {false, true}) {
        if (open) {
            ASSERT_EQ(mEngine.Open(kNet0), 1U);
            EXPECT_EQ(mPeer.Receive(), Search("upnp:rootdevice")); // the first pass is over
        }
        Add();
        mEngine.Close();
        ReceivedSoFar();
        Add("ZR2");
        ASSERT_EQ(mEngine.Open(kNet0), 1U);
        EXPECT_EQ(mPeer.Receive(), Alive("ZR2", "zr2_upnp_ssdp_1.xml"));
        EXPECT_EQ(mPeer.Receive(), Search("upnp:rootdevice"));
        mEngine.Close();
        EXPECT_THAT(ReceivedSoFar(), testing::ElementsAre(Goodbye("ZR2", "zr2_upnp_ssdp_1.xml")));
    }
}

// The engine is closed at different moments of its start. It has run either the whole
// first pass or nothing of it, and sends nothing after the goodbye.
TEST_F(Closing, SendsNothingAfterTheGoodbye)
{
    std::atomic<bool> enough{false};
    std::atomic<int> left{0}; // few: the answers must fit the peer's receive queue
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
        const std::vector<std::string> received = ReceivedSoFar();
        if (!received.empty()) {
            ++announced;
            EXPECT_EQ(received.front(), Alive(kCorvia, kCorviaFile));
            EXPECT_EQ(received.back(), Goodbye(kCorvia, kCorviaFile));
        }
    }
    enough = true;
    searcher.join();
    EXPECT_GT(announced, 0);
}

// Close stops waiting for the SSDP thread after 4250 ms. An engine that is opened after
// that starts to work as soon as the blocked thread continues.
TEST_F(Closing, LetsTheEngineOpenAgainWhileAThreadIsBlocked)
{
    test::StuckFolder documents("/var/www/html/");
    documents.Run([this] { ASSERT_EQ(mEngine.Open(kNet0), 1U); });
    EXPECT_EQ(mPeer.Receive(), Search("upnp:rootdevice"));
    ToEngine("GET /any.xml HTTP/1.1\r\n\r\n");
    documents.AwaitCall();
    mEngine.Close();
    EXPECT_FALSE(mEngine.IsOpen());
    Add();
    EXPECT_EQ(mEngine.Open(kNet0), 1U);
    EXPECT_TRUE(mEngine.IsOpen());
    EXPECT_EQ(Ask("gh"), "HostList"); // the other thread answers at once
    EXPECT_THAT(ReceivedSoFar(), testing::IsEmpty());
    documents.Answer();
    EXPECT_EQ(mPeer.Receive(), Alive(kCorvia, kCorviaFile));
    EXPECT_EQ(mPeer.Receive(), Search("upnp:rootdevice"));
    Settle();
    mEngine.Close();
    EXPECT_EQ(mPeer.ReceiveContaining("byebye"), Goodbye(kCorvia, kCorviaFile));
}
