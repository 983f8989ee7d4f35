#include "agent_fixture.h"

#include <algorithm>
#include <gmock/gmock.h>

// One host floods the agent. Other peers must be served in spite of that.

using test::Get;
using test::kLumen;
using test::kPeerAddress;
using test::PeerDescription;
using test::PeerNotify;
using test::Sent;

namespace {

constexpr const char *kFlooder = "192.0.2.66";
constexpr int kFloodPerSecond = 1000; // datagrams of each kind

class AgentFairness : public test::AgentTest
{
protected:
    AgentFairness()
    {
        mEnvironment.seeded = true;
        Open();
        mEnvironment.files.documents["/var/www/html/a.xml"] = "document";
        mTickMs = mAgent.PollIntervalMs();
    }

    // One second of the flood, with a tick if one is due. Returns the datagrams to the
    // peer.
    Datagrams FloodForASecond()
    {
        for (int i = 0; i < kFloodPerSecond; ++i) {
            const std::string product = "F" + std::to_string(mFlooded++);
            Receive(Get("/a.xml"), kFlooder);
            Receive(PeerNotify("ssdp:alive", product, "http://192.0.2.66:80/a.xml"), kFlooder);
        }
        mNowMs += 1000;
        mSinceTickMs += 1000;
        return mSinceTickMs < mTickMs ? Datagrams() : ToPeerOf(TickOfAll());
    }

    // Floods until the flood has lasted 20 seconds in all, and 3 seconds since the last tick:
    // both queues are full.
    void FloodUntilFull()
    {
        do {
            FloodForASecond();
        } while (mFlooded < 20 * kFloodPerSecond || mSinceTickMs < 3000);
    }

    // Floods until the peer gets a datagram, at most for this number of seconds.
    Datagrams FloodUntilThePeerGets(int seconds)
    {
        Datagrams got;
        for (int second = 0; second < seconds && got.empty(); ++second) {
            got = FloodForASecond();
        }
        return got;
    }

    Datagrams TickOfAll()
    {
        const std::uint32_t elapsedMs = std::exchange(mSinceTickMs, 0);
        mNowMs -= elapsedMs; // Tick adds it again
        return Tick(elapsedMs);
    }

    static Datagrams ToPeerOf(const Datagrams &sent)
    {
        Datagrams got;
        std::copy_if(sent.begin(), sent.end(), std::back_inserter(got),
                     [](const Sent &one) { return one.to == std::string(kPeerAddress) + ":1900"; });
        return got;
    }

    std::uint32_t mTickMs = 0;
    std::uint32_t mSinceTickMs = 0;
    int mFlooded = 0;
};

} // namespace

TEST_F(AgentFairness, PeerIsAnsweredWithinThreeTriesDuringAFloodOfRequests)
{
    Datagrams got;
    for (int tries = 0; tries < 3 && got.empty(); ++tries) {
        FloodUntilFull();
        Receive(Get("/a.xml"));
        got = FloodUntilThePeerGets(20);
    }
    EXPECT_EQ(got, Datagrams{test::ToPeer(test::GetAnswer("document"))});
}

TEST_F(AgentFairness, PeerIsKnownWithin60SecondsDuringAFloodOfAlives)
{
    FloodUntilFull();
    for (int second = 0; second < 60 && !Knows("Lumen"); ++second) {
        if (second % 20 == 0) {
            Receive(PeerNotify("ssdp:alive", "Lumen", kLumen));
        }
        const Datagrams got = FloodForASecond();
        if (std::find(got.begin(), got.end(), test::ToPeer(test::PeerRequest(kLumen))) !=
            got.end()) {
            Receive(PeerDescription("Lumen", "beta"));
        }
    }
    EXPECT_TRUE(Knows("Lumen"));
}

TEST_F(AgentFairness, LastingFloodIsReportedOnce)
{
    for (int second = 0; second < 300; ++second) {
        FloodForASecond();
    }
    EXPECT_THAT(mEnvironment.faults,
                testing::UnorderedElementsAre(
                    "SendGETResponse: Too many delayed responses, dropping what comes more",
                    "SendGETRequest: Too many delayed requests, dropping what comes more"));
}
