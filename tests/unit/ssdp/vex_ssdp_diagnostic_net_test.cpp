#include "engine_fixture.h"
#include "support/capture.h"

using test::PeerDescription;
using test::PeerSocket;

namespace {

class Diagnostics : public test::EngineTest
{
protected:
    // As the engine lists a device of the peer.
    static std::string Listed(const std::string &product, const std::string &hostName)
    {
        return "\n  ProductName:\"" + product + "\"\n  HostName:   \"" + hostName +
               "\"\n  IP:         192.0.2.20\n  USN:        " +
               test::UsnOf(product, test::kPeerAddress) + "\n";
    }

    const std::string kCorviaListed = "\n  ProductName:\"Corvia 12\"\n"
                                      "  HostName:   \"alpha\"\n"
                                      "  IP:         192.0.2.10\n"
                                      "  USN:        uuid:65746500-Corvia 12-192.0.2.10-0\n";
};

} // namespace

TEST_F(Diagnostics, ListTheAnnouncedServicesAndTheKnownOnes)
{
    OpenAnnounced();
    ToEngine(PeerDescription("Lumen", "beta"));
    Settle();
    EXPECT_EQ(Ask("gh"), "HostList" + kCorviaListed);
    EXPECT_EQ(Ask("gn"), "NodeList" + kCorviaListed + Listed("Lumen", "beta"));
}

TEST_F(Diagnostics, EmptyListIsItsNameAlone)
{
    ASSERT_EQ(mEngine.Open(test::kNet0), 1U);
    EXPECT_EQ(Ask("gh"), "HostList");
    EXPECT_EQ(Ask("gn"), "NodeList");
}

TEST_F(Diagnostics, ReportACommandThatIsNone)
{
    ASSERT_EQ(mEngine.Open(test::kNet0), 1U);
    std::string reply;
    const test::Output output = test::Capture([&] { reply = Ask("GH"); });
    EXPECT_EQ(reply, "No such command as \"GH\"");
    EXPECT_EQ(output.err, "ParseSSDPDiagnosticMessages: No such command as GH\n");
    EXPECT_EQ(output.out, "");
}

TEST_F(Diagnostics, WantACommandOfTwoBytes)
{
    ASSERT_EQ(mEngine.Open(test::kNet0), 1U);
    const test::Output output = test::Capture([] {
        EXPECT_EQ(Ask("gh\n"), "Invalid operation\n");
        EXPECT_EQ(Ask("g"), "Invalid operation\n");
        EXPECT_EQ(Ask(std::string(1600, 'g')), "Invalid operation\n");
    });
    EXPECT_EQ(output.err + output.out, "");
}

TEST_F(Diagnostics, PassOverAnEmptyDatagram)
{
    ASSERT_EQ(mEngine.Open(test::kNet0), 1U);
    PeerSocket asker;
    asker.SendTo("", test::kOwnAddress, 49821);
    asker.SendTo("gh", test::kOwnAddress, 49821);
    EXPECT_EQ(asker.Receive(), "HostList");
}

TEST_F(Diagnostics, ListingEndsAfterTheLastWholeEntryThatADatagramHolds)
{
    constexpr std::size_t kMaxDatagram = 65507;
    OpenAnnounced();
    std::string expected = "NodeList" + kCorviaListed;
    const std::string hostName(1000, 'h');
    for (int number = 100; number < 180; ++number) {
        const std::string product = "Lumen" + std::to_string(number);
        ToEngine(PeerDescription(product, hostName));
        if (number % 20 == 0) {
            Settle(); // so that the engine's receive queue never overflows
        }
        const std::string entry = Listed(product, hostName);
        if (expected.size() + entry.size() <= kMaxDatagram) {
            expected += entry;
        }
    }
    Settle();
    ASSERT_LT(kMaxDatagram - expected.size(), 1200U) << "the list was to be longer than that";
    EXPECT_EQ(Ask("gn"), expected);
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
