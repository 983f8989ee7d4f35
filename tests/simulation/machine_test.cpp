#include "simulation/machine.h"

#include "formats/ssdp_protocol.h"

#include <algorithm>
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using simulation::DatagramPointer;
using simulation::Machine;
using simulation::Micros;

namespace {

// Notes what a machine sends, and when it wants to receive.
class Notes final : public simulation::Surroundings
{
public:
    bool Send(Machine & /*machine*/, bool multicast, const sockaddr_in & /*destination*/,
              std::string_view /*text*/, Micros at, int /*sparedPercent*/) override
    {
        (multicast ? announced : answered).push_back(at);
        return true;
    }
    void Reply(const Machine & /*machine*/, const sockaddr_in & /*destination*/,
               std::string_view /*text*/, Micros /*at*/) override
    {
    }
    void WakeAt(const Machine & /*machine*/, Micros /*at*/, std::uint32_t /*run*/) override {}
    [[nodiscard]] Micros FreeProcessorAt(Micros now) const override
    {
        return std::max(now, processorFreeAt);
    }
    void UseProcessor(Micros until) override { processorFreeAt = until; }
    void HandleBatchAt(const Machine & /*machine*/, Micros at, std::uint32_t run) override
    {
        batches.push_back(at);
        engineRun = run;
    }

    std::vector<Micros> announced;
    std::vector<Micros> answered;
    std::vector<Micros> batches;
    Micros processorFreeAt = 0;
    std::uint32_t engineRun = 0;
};

// A machine that is published from 0 s on, and receives searches.
class ReceiveLoop : public testing::Test
{
protected:
    ReceiveLoop()
    {
        mMachine.PowerOn(0, Machine::Publication::AtOnce);
        mNotes.announced.clear();
    }

    static simulation::MachineSettings Settings()
    {
        simulation::MachineSettings settings;
        settings.product = "Lumen";
        settings.netmask.s_addr = htonl(simulation::kLinkMask);
        settings.handlingTime = 10;
        settings.wakeUpTime = 100;
        settings.receiveBuffer = 20 * 768; // 20 searches
        return settings;
    }

    void Search(Micros at) { static_cast<void>(mMachine.Receive(mSearch, at)); }

    Notes mNotes;
    Machine mMachine{Settings(), mNotes, htonl(simulation::kLinkNetwork + 1), "studio-a"};
    const DatagramPointer mSearch = simulation::MakeDatagram(
        "M-SEARCH * HTTP/1.1\r\nST: upnp:rootdevice\r\n\r\n",
        simulation::SocketAddress(htonl(simulation::kLinkNetwork + 2), formats::kPort),
        simulation::SocketAddress(inet_addr(formats::kMulticastAddress), formats::kPort), true, 1);
};

const std::vector<Micros> kNone;

} // namespace

TEST_F(ReceiveLoop, HandlesTogetherWhatArrivesWhileTheThreadWakesUp)
{
    Search(1000);
    Search(1050);
    EXPECT_EQ(mNotes.batches, std::vector<Micros>{1100});
    EXPECT_EQ(mNotes.answered, kNone);
    mMachine.HandleBatch(1100, mNotes.engineRun);
    EXPECT_EQ(mNotes.answered, (std::vector<Micros>{1110, 1120}));
    EXPECT_EQ(mNotes.batches, std::vector<Micros>{1100});
}

TEST_F(ReceiveLoop, HandlesWithoutAWakeUpWhatArrivesWhileTheThreadIsBusy)
{
    Search(1000);
    Search(1105);
    mMachine.HandleBatch(1100, mNotes.engineRun);
    EXPECT_EQ(mNotes.answered, std::vector<Micros>{1110});
    EXPECT_EQ(mNotes.batches, (std::vector<Micros>{1100, 1110}));
}

TEST_F(ReceiveLoop, HandlesAtMost16DatagramsInOneBatch)
{
    for (int count = 0; count < 17; ++count) {
        Search(1000);
    }
    mMachine.HandleBatch(1100, mNotes.engineRun);
    EXPECT_EQ(mNotes.answered.size(), 16U);
    ASSERT_EQ(mNotes.batches.size(), 2U);
    mMachine.HandleBatch(mNotes.batches[1], mNotes.engineRun);
    EXPECT_EQ(mNotes.answered.size(), 17U);
}

TEST_F(ReceiveLoop, DropsADatagramWhileTheBufferIsFull)
{
    for (int count = 0; count < 20; ++count) {
        EXPECT_TRUE(mMachine.Receive(mSearch, 1000)) << count;
    }
    EXPECT_FALSE(mMachine.Receive(mSearch, 1000));
    mMachine.HandleBatch(1100, mNotes.engineRun);
    EXPECT_TRUE(mMachine.Receive(mSearch, 1200));
}

// The tick is over after at most 5.749 s.
TEST_F(ReceiveLoop, EndsATickAfterTheWholeBatch)
{
    Search(20'000'000);
    Search(20'000'000);
    mMachine.HandleBatch(20'000'100, mNotes.engineRun);
    EXPECT_EQ(mNotes.answered, (std::vector<Micros>{20'000'110, 20'000'120}));
    EXPECT_EQ(mNotes.announced, std::vector<Micros>{20'000'120});
}

TEST_F(ReceiveLoop, WaitsForAProcessor)
{
    mNotes.processorFreeAt = 3000;
    Search(1000);
    mMachine.HandleBatch(1100, mNotes.engineRun);
    EXPECT_EQ(mNotes.answered, kNone);
    EXPECT_EQ(mNotes.batches, (std::vector<Micros>{1100, 3000}));
    mMachine.HandleBatch(3000, mNotes.engineRun);
    EXPECT_EQ(mNotes.answered, std::vector<Micros>{3010});
    EXPECT_EQ(mNotes.processorFreeAt, 3010);
}

TEST_F(ReceiveLoop, HandlesNothingInAStallAndAllAfterIt)
{
    Search(1000);
    mMachine.Stall();
    mMachine.HandleBatch(1100, mNotes.engineRun);
    Search(2000);
    EXPECT_EQ(mNotes.answered, kNone);
    mMachine.Resume(50'000);
    mMachine.HandleBatch(mNotes.batches.back(), mNotes.engineRun);
    EXPECT_EQ(mNotes.answered, (std::vector<Micros>{50'010, 50'020}));
}

TEST_F(ReceiveLoop, SchedulesNoSecondBatchInAShortStall)
{
    Search(1000);
    mMachine.Stall();
    mMachine.Resume(1050);
    EXPECT_EQ(mNotes.batches, std::vector<Micros>{1100});
}

TEST_F(ReceiveLoop, EndsNoTickByATimeOutWhileDatagramsWait)
{
    Search(20'000'000);
    mMachine.Wake(20'000'050, mNotes.engineRun);
    EXPECT_EQ(mNotes.announced, kNone);
}

TEST_F(ReceiveLoop, IgnoresABatchOfTheFormerRunOfTheEngineAndSchedulesTheNextOne)
{
    Search(1000);
    const std::uint32_t former = mNotes.engineRun;
    mMachine.Rename("studio-b", 1050);
    mNotes.announced.clear();
    mMachine.HandleBatch(20'000'000, former);
    EXPECT_EQ(mNotes.announced, kNone);
    Search(30'000'000);
    EXPECT_EQ(mNotes.batches, (std::vector<Micros>{1100, 30'000'100}));
}

TEST_F(ReceiveLoop, ForgetsWhatWaitsWhenTheMachineIsKilled)
{
    Search(1000);
    mMachine.Kill();
    mMachine.PowerOn(1050, Machine::Publication::AtOnce);
    Search(2000);
    mMachine.HandleBatch(2100, mNotes.engineRun);
    EXPECT_EQ(mNotes.answered, std::vector<Micros>{2110});
}
