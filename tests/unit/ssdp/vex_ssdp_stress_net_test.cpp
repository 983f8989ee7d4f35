#include "engine_fixture.h"

#include <atomic>
#include <thread>
#include <vector>

using test::kCorvia;
using test::PeerDescription;
using test::PeerNotify;
using test::PeerSocket;

namespace {

// Uses all processors, unlike the other tests of the engine: the threads must run at the
// same time.
class Stress : public testing::Test
{
protected:
    // Repeats a piece of work on another thread until End.
    template <typename Work>
    void Repeat(Work work)
    {
        mThreads.emplace_back([this, work]() mutable {
            while (!mOver) {
                work();
                ++mTurns;
            }
        });
    }

    void End()
    {
        mOver = true;
        for (std::thread &thread : mThreads) {
            thread.join();
        }
    }

    void SendEverything(PeerSocket &peer)
    {
        const std::string product = "Lumen" + std::to_string(mNumber++ % 50);
        for (const std::string &datagram :
             {PeerNotify("ssdp:alive", product, "http://192.0.2.20:80/a.xml"),
              PeerDescription(product, "beta"), test::Search("ssdp:all"),
              PeerNotify("ssdp:byebye", product, "http://192.0.2.20:80/a.xml"),
              std::string("GET /corvia_12_upnp_ssdp_1.xml HTTP/1.1\r\n\r\n"),
              std::string("HTTP/1.1 200 OK\r\nUSN: uuid:65746500-a\r\n"
                          "LOCATION: http://192.0.2.20:80/a.xml\r\n\r\n")}) {
            peer.SendTo(datagram, test::kOwnAddress, 1900);
        }
    }

    VEX_SSDP mEngine;
    std::atomic<bool> mOver{false};
    std::atomic<int> mTurns{0};
    std::atomic<int> mNumber{0};
    std::vector<std::thread> mThreads;
};

} // namespace

TEST_F(Stress, EngineStillWorksAfterOperationsOfManyThreadsAtTheSameTime)
{
    mEngine.SetPath("/var/www/html");
    PeerSocket peer;
    PeerSocket diagnostics;
    Repeat([&] { SendEverything(peer); });
    Repeat([&] {
        diagnostics.SendTo("gn", test::kOwnAddress, 49821);
        diagnostics.Receive(1);
    });
    Repeat([&] {
        formats::SSDPDeviceMap known;
        static_cast<void>(mEngine.WaitForChange(1, known));
    });
    Repeat([&] {
        SSDPDeviceType service = test::OwnService();
        mEngine.AddService(service);
        mEngine.SetPath("/var/www/html");
        mEngine.RemoveService(kCorvia, test::kOwnAddress);
        mEngine.AddService(service);
        mEngine.RemoveService("uuid:65746500-Lumen");
        static_cast<void>(mEngine.IsOpen());
    });
    Repeat([&] { mEngine.Open({{"192.0.2.10", "net0"}}); });
    for (int round = 0; round < 100; ++round) {
        mEngine.Open(test::kNet0);
        const int turns = mTurns;
        while (mTurns < turns + 5) {
            std::this_thread::yield();
        }
        mEngine.Close(round % 2 == 0 ? VEX_SSDP::Goodbye::Say : VEX_SSDP::Goodbye::Skip);
    }
    End();
    mEngine.Close();

    SSDPDeviceType service = test::OwnService();
    mEngine.AddService(service);
    PeerSocket group(1900);
    group.JoinMulticast();
    EXPECT_EQ(mEngine.Open(test::kNet0), 1U);
    EXPECT_EQ(group.Receive(), test::Alive(kCorvia, test::kCorviaFile));
}
