#include "agent_fixture.h"

#include <gmock/gmock.h>

using test::PeerDescription;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class AgentDiagnostics : public test::AgentTest
{
protected:
    // The entry of a device at the peer's address.
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

TEST_F(AgentDiagnostics, CommandsListAnnouncedAndKnownServices)
{
    OpenAnnounced();
    Receive(PeerDescription("Lumen", "beta"));
    EXPECT_EQ(Ask("gh"), "HostList" + kCorviaListed);
    EXPECT_EQ(Ask("gn"), "NodeList" + kCorviaListed + Listed("Lumen", "beta"));
    EXPECT_THAT(mEnvironment.faults, IsEmpty());
}

TEST_F(AgentDiagnostics, ListingOfAnEmptyListIsItsName)
{
    Open();
    EXPECT_EQ(Ask("gh"), "HostList");
    EXPECT_EQ(Ask("gn"), "NodeList");
}

TEST_F(AgentDiagnostics, UnknownCommandIsReported)
{
    Open();
    for (const std::string &command :
         {std::string("GH"), std::string("gH"), std::string("%s"), std::string("g\0", 2)}) {
        EXPECT_EQ(Ask(command), "No such command as \"" + command + "\"");
        EXPECT_THAT(mEnvironment.TakeFaults(),
                    ElementsAre("ParseSSDPDiagnosticMessages: No such command as " + command));
    }
}

TEST_F(AgentDiagnostics, ListingEndsAfterTheLastWholeEntryThatADatagramHolds)
{
    constexpr std::size_t kMaxDatagram = 65507;
    OpenAnnounced();
    std::string expected = "NodeList" + kCorviaListed;
    const std::string hostName(1000, 'h');
    for (int number = 100; number < 180; ++number) {
        const std::string product = "Lumen" + std::to_string(number);
        Receive(PeerDescription(product, hostName));
        const std::string entry = Listed(product, hostName);
        if (expected.size() + entry.size() <= kMaxDatagram) {
            expected += entry;
        }
    }
    ASSERT_LT(kMaxDatagram - expected.size(), 1200U) << "the list must be longer than a datagram";
    EXPECT_EQ(Ask("gn"), expected);
}
