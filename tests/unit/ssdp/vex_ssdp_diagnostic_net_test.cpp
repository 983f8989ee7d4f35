#include "engine_fixture.h"
#include "support/capture.h"

#include <chrono>
#include <deque>

using test::PeerDescription;
using test::PeerSocket;

namespace {

class Diagnostics : public test::EngineTest
{
protected:
    using Clock = std::chrono::steady_clock;

    // Adds so many known devices that their listing does not fit into the largest datagram.
    void FillTheList()
    {
        const std::string hostName(1000, 'h');
        for (int number = 100; number < 180; ++number) {
            ToEngine(PeerDescription("Lumen" + std::to_string(number), hostName));
            if (number % 20 == 0) {
                Settle(); // the engine's receive queue must not overflow
            }
        }
        Settle();
    }

    // Asks until a reply comes: then all earlier commands have been handled.
    static std::string AskUntilAnswered(const std::string &command)
    {
        PeerSocket asker;
        std::string reply;
        for (int tries = 0; tries < 1000 && reply.empty(); ++tries) {
            asker.SendTo(command, test::kOwnAddress, 49821);
            reply = asker.Receive(10);
        }
        return reply;
    }
};

} // namespace

TEST_F(Diagnostics, ReplyGoesToTheAddressAndPortOfTheCommand)
{
    OpenAnnounced();
    const std::string corvia = "\n  ProductName:\"Corvia 12\"\n"
                               "  HostName:   \"alpha\"\n"
                               "  IP:         192.0.2.10\n"
                               "  USN:        uuid:65746500-Corvia 12-192.0.2.10-0\n";
    EXPECT_EQ(Ask("gh"), "HostList" + corvia);
    EXPECT_EQ(Ask("gn"), "NodeList" + corvia);
}

TEST_F(Diagnostics, CommandMustHaveTwoBytes)
{
    ASSERT_EQ(mEngine.Open(test::kNet0), 1U);
    const test::Output output = test::Capture([] {
        EXPECT_EQ(Ask("gh\n"), "Invalid operation\n");
        EXPECT_EQ(Ask("g"), "Invalid operation\n");
        EXPECT_EQ(Ask(std::string(1600, 'g')), "Invalid operation\n");
    });
    EXPECT_EQ(output.err + output.out, "");
}

TEST_F(Diagnostics, UnknownCommandIsReportedOnStandardError)
{
    ASSERT_EQ(mEngine.Open(test::kNet0), 1U);
    std::string reply;
    const test::Output output = test::Capture([&] { reply = Ask("GH"); });
    EXPECT_EQ(reply, "No such command as \"GH\"");
    EXPECT_EQ(output.err, "ParseSSDPDiagnosticMessages: No such command as GH\n");
    EXPECT_EQ(output.out, "");
}

TEST_F(Diagnostics, EmptyDatagramIsIgnored)
{
    ASSERT_EQ(mEngine.Open(test::kNet0), 1U);
    PeerSocket asker;
    asker.SendTo("", test::kOwnAddress, 49821);
    asker.SendTo("gh", test::kOwnAddress, 49821);
    EXPECT_EQ(asker.Receive(), "HostList");
}

// A datagram from the diagnostic port is a reply of another device. If it were answered, two
// devices would reply to each other endlessly.
TEST_F(Diagnostics, NoReplyToTheDiagnosticPortOfAnotherDevice)
{
    ASSERT_EQ(mEngine.Open(test::kNet0), 1U);
    PeerSocket other(49821);
    const test::Output output = test::Capture([&other] {
        for (const char *datagram : {"gh", "gn", "GH", "Invalid operation\n"}) {
            other.SendTo(datagram, test::kOwnAddress, 49821);
        }
        EXPECT_EQ(Ask("gh"), "HostList");
    });
    EXPECT_EQ(other.Receive(0), "");
    EXPECT_EQ(output.err, "");
}

TEST_F(Diagnostics, RepliesAreLimitedTo1MiBAtOnceAnd256KiBASecond)
{
    constexpr std::size_t kMaxDatagram = 65507;
    OpenAnnounced();
    FillTheList();
    const Clock::time_point start = Clock::now();
    std::deque<PeerSocket> askers(60);
    for (PeerSocket &asker : askers) {
        asker.SendTo("gn", test::kOwnAddress, 49821);
    }
    EXPECT_EQ(AskUntilAnswered("gh").substr(0, 8), "HostList");
    std::size_t replies = 0;
    std::size_t bytes = 0;
    for (PeerSocket &asker : askers) {
        const std::size_t size = asker.Receive(0).size();
        replies += size > 0 ? 1 : 0;
        bytes += size;
    }
    const std::chrono::duration<double> passed = Clock::now() - start;
    EXPECT_GE(replies, (1U << 20U) / kMaxDatagram);
    EXPECT_LE(static_cast<double>(bytes), (1U << 20U) + passed.count() * (256U << 10U));
    EXPECT_EQ(AskUntilAnswered("gn").substr(0, 8), "NodeList");
}

TEST_F(Diagnostics, DisplayPrintsTheListsToStandardOutput)
{
    OpenAnnounced();
    ToEngine(PeerDescription("Lumen", "beta"));
    Settle();
    const std::string corvia = "\n  ProductName:Corvia 12\n"
                               "  IP:         192.0.2.10\n"
                               "  USN:        uuid:65746500-Corvia 12-192.0.2.10-0\n";
    EXPECT_EQ(test::Capture([&] { mEngine.DisplayHostElements(); }).out,
              "DisplayHostElements:  We have 1 SSDP Devices\n" + corvia);
    EXPECT_EQ(test::Capture([&] { mEngine.DisplayNodeElements(); }).out,
              "DisplayNodeElements:  We have 2 SSDP Devices\n" + corvia +
                  "\n  ProductName:Lumen\n"
                  "  IP:         192.0.2.20\n"
                  "  USN:        uuid:65746500-Lumen-192.0.2.20-0\n");
    mEngine.Close();
    EXPECT_EQ(test::Capture([&] { mEngine.DisplayHostElements(); }).out,
              "DisplayHostElements:  We have 0 SSDP Devices\n");
}
