#include "agent_fixture.h"

#include <gmock/gmock.h>

// Requests for description documents of peers, and answers to their requests.

using test::Get;
using test::GetAnswer;
using test::kCorviaFile;
using test::kLongestDelayMs;
using test::kLumen;
using test::kPeerAddress;
using test::kTickMs;
using test::PeerAnswer;
using test::PeerDescription;
using test::PeerNotify;
using test::PeerRequest;
using test::ToPeer;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char *kTalon = "http://192.0.2.20:80/talonmx_upnp_ssdp_2.xml";
constexpr const char *kPathOfA = "/var/www/html/a.xml";

// A document whose answer has exactly the size of the largest datagram.
std::string LargestDocument()
{
    const std::size_t headers = GetAnswer("", 65000).size();
    return std::string(65507 - headers, 'x');
}

class AgentExchange : public test::AgentTest
{
protected:
    // The name of the document that a request asks for; "" for none.
    std::string Wanted(const std::string &target)
    {
        const auto wanted =
            mAgent.ParseSSDPPacket(Get(target), test::SocketAddressOf(kPeerAddress, 1900), mNowMs);
        return wanted ? wanted->name : "";
    }

    // Puts files into the web root.
    void WriteFiles(const std::vector<std::string> &names)
    {
        for (const std::string &name : names) {
            mEnvironment.files.documents["/var/www/html/" + name] = name;
        }
    }
};

} // namespace

TEST_F(AgentExchange, RequestsTheDocumentOfADeviceThatAnnouncesItself)
{
    Open();
    EXPECT_THAT(Receive(PeerNotify("ssdp:alive", "Lumen", kLumen)), IsEmpty());
    EXPECT_THAT(Tick(), ElementsAre(ToPeer(PeerRequest(kLumen))));
    EXPECT_THAT(Tick(), IsEmpty());
}

TEST_F(AgentExchange, RequestsTheDocumentOfADeviceThatAnswersTheSearch)
{
    Open();
    EXPECT_THAT(Receive(PeerAnswer("TalonMx", kTalon)), IsEmpty());
    EXPECT_THAT(Tick(), ElementsAre(ToPeer(PeerRequest(kTalon))));
}

TEST_F(AgentExchange, RequestsTheDocumentForEachAliveUntilItArrives)
{
    Open();
    for (int i = 0; i < 2; ++i) {
        Receive(PeerNotify("ssdp:alive", "Lumen", kLumen));
    }
    EXPECT_THAT(Tick(), ElementsAre(ToPeer(PeerRequest(kLumen)), ToPeer(PeerRequest(kLumen))));
    Receive(PeerDescription("Lumen", "beta"));
    Receive(PeerNotify("ssdp:alive", "Lumen", kLumen));
    Receive(PeerAnswer("Lumen", kLumen));
    EXPECT_THAT(Tick(), IsEmpty());
}

TEST_F(AgentExchange, RequestGoesToTheAddressInTheLocation)
{
    Open();
    Receive(PeerNotify("ssdp:alive", "Lumen", kLumen), "192.0.2.99", 50000);
    EXPECT_THAT(Tick(), ElementsAre(ToPeer(PeerRequest(kLumen), "192.0.2.20:1900")));
}

TEST_F(AgentExchange, RequestsNothingFromADeviceOfAnotherMaker)
{
    Open();
    Receive("NOTIFY * HTTP/1.1\r\nNT: upnp:rootdevice\r\nNTS: ssdp:alive\r\nLOCATION: " +
            std::string(kLumen) + "\r\nUSN: uuid:1\r\n\r\n");
    EXPECT_THAT(Tick(), IsEmpty());
    EXPECT_THAT(mEnvironment.faults, IsEmpty());
}

TEST_F(AgentExchange, RequestWaitsUpToThreePollIntervals)
{
    Open();
    for (const auto &[drawn, delayMs] :
         {std::pair(0U, 0U), {kLongestDelayMs, kLongestDelayMs}, {kLongestDelayMs + 1, 0U}}) {
        mEnvironment.random = drawn;
        Receive(PeerNotify("ssdp:alive", "Lumen", kLumen));
        if (delayMs > 0) {
            EXPECT_THAT(Tick(delayMs - 1), IsEmpty());
            EXPECT_THAT(Tick(0), IsEmpty());
            EXPECT_THAT(Tick(1), ElementsAre(ToPeer(PeerRequest(kLumen))));
        } else {
            EXPECT_THAT(Tick(0), ElementsAre(ToPeer(PeerRequest(kLumen))));
        }
    }
}

TEST_F(AgentExchange, AnswerWaitsUpToThreePollIntervals)
{
    Open();
    WriteFiles({"a.xml"});
    mEnvironment.random = kLongestDelayMs;
    EXPECT_THAT(Receive(Get("/a.xml")), IsEmpty());
    EXPECT_THAT(Tick(), IsEmpty());
    EXPECT_THAT(Tick(), IsEmpty());
    EXPECT_THAT(Tick(kTickMs - 2), IsEmpty());
    EXPECT_THAT(Tick(1), ElementsAre(ToPeer(GetAnswer("a.xml"))));
}

TEST_F(AgentExchange, AnswersAreSentBeforeRequestsAndBothInOrderOfArrival)
{
    Open();
    WriteFiles({"a.xml", "b.xml"});
    Receive(PeerNotify("ssdp:alive", "Lumen", kLumen));
    Receive(Get("/b.xml"), "192.0.2.30");
    Receive(PeerNotify("ssdp:alive", "TalonMx", kTalon), "192.0.2.1");
    Receive(Get("/a.xml"));
    EXPECT_THAT(Tick(), ElementsAre(ToPeer(GetAnswer("b.xml"), "192.0.2.30:1900"),
                                    ToPeer(GetAnswer("a.xml")), ToPeer(PeerRequest(kLumen)),
                                    ToPeer(PeerRequest(kTalon))));
}

TEST_F(AgentExchange, AnswerGoesToTheAddressAndPortOfTheRequest)
{
    Open();
    WriteFiles({"a.xml"});
    Receive(Get("/a.xml"), "192.0.2.21", 50000);
    EXPECT_THAT(Tick(), ElementsAre(ToPeer(GetAnswer("a.xml"), "192.0.2.21:50000")));
}

TEST_F(AgentExchange, ServesTheDocumentThatItAnnounces)
{
    OpenAnnounced();
    const std::string document = mEnvironment.files.documents.at(test::kCorviaPath);
    Receive(Get("http://192.0.2.10:80/" + std::string(kCorviaFile)));
    EXPECT_THAT(Tick(), ElementsAre(ToPeer(GetAnswer(document))));
}

TEST_F(AgentExchange, ContentLengthIsTheSizeOfTheFileEvenIfTheTextEndsAtANul)
{
    Open();
    mEnvironment.files.documents[kPathOfA] = std::string("ab\0cd", 5);
    Receive(Get("/a.xml"));
    EXPECT_THAT(Tick(), ElementsAre(ToPeer(GetAnswer("ab", 5))));
}

TEST_F(AgentExchange, ServesOnlyFilesDirectlyInTheWebRoot)
{
    Open();
    EXPECT_EQ(Wanted("/a.xml"), "/a.xml");
    EXPECT_EQ(Wanted("http://192.0.2.10:80/a.xml"), "/a.xml");
    EXPECT_EQ(Wanted("/../../etc/a.xml"), "/a.xml");
    EXPECT_EQ(Wanted("/var/www/a.xml"), "/a.xml");
    EXPECT_EQ(Wanted(std::string("/a.x\0/b.xml", 11)), "");
    EXPECT_EQ(Wanted("/a.txt"), "");
    EXPECT_EQ(Wanted("a.xml"), "");
}

TEST_F(AgentExchange, RequestForAMissingFileIsNotAnswered)
{
    Open();
    EXPECT_THAT(Receive(Get("/a.xml")), IsEmpty());
    EXPECT_EQ(mEnvironment.files.reads, 1);
    EXPECT_THAT(Tick(60000), IsEmpty());
    EXPECT_THAT(mEnvironment.faults, IsEmpty());
}

TEST_F(AgentExchange, DocumentTooLargeForADatagramIsNotServed)
{
    Open();
    std::string &document = mEnvironment.files.documents[kPathOfA] = LargestDocument();
    Receive(Get("/a.xml"));
    EXPECT_THAT(Tick(), ElementsAre(ToPeer(GetAnswer(document))));
    document += 'x';
    Receive(Get("/a.xml"));
    EXPECT_THAT(Tick(60000), IsEmpty());
}

// Between two batches other threads can take the engine lock.
TEST_F(AgentExchange, SendsDueDatagramsInBatchesWithinOneTick)
{
    Open();
    WriteFiles({"a.xml"});
    for (int i = 0; i < 70; ++i) {
        Receive(Get("/a.xml"));
        Receive(PeerNotify("ssdp:alive", "Lumen", kLumen));
    }
    mAgent.BeginTick(kTickMs);
    std::vector<std::size_t> sent;
    bool more = true;
    while (more) {
        more = mAgent.SendDue();
        sent.push_back(mEnvironment.TakeSent().size());
    }
    EXPECT_EQ(sent, (std::vector<std::size_t>{32, 32, 6 + 32, 32, 6}));
}

TEST_F(AgentExchange, DatagramsWithoutRoomAreSentAtTheNextTickInTheirOrder)
{
    Open();
    WriteFiles({"a.xml", "b.xml"});
    Receive(Get("/b.xml"), "192.0.2.30");
    Receive(Get("/a.xml"));
    Receive(PeerNotify("ssdp:alive", "Lumen", kLumen));
    mEnvironment.room = false;
    EXPECT_THAT(Tick(), IsEmpty());
    mEnvironment.room = true;
    Receive(PeerNotify("ssdp:alive", "TalonMx", kTalon));
    EXPECT_THAT(Tick(), ElementsAre(ToPeer(GetAnswer("b.xml"), "192.0.2.30:1900"),
                                    ToPeer(GetAnswer("a.xml")), ToPeer(PeerRequest(kLumen)),
                                    ToPeer(PeerRequest(kTalon))));
    EXPECT_THAT(Tick(60000), IsEmpty());
}

TEST_F(AgentExchange, RestOfATickIsSentAtTheNextTickWhenTheRoomEnds)
{
    Open();
    for (int i = 0; i < 40; ++i) {
        Receive(PeerNotify("ssdp:alive", "Lumen", kLumen));
    }
    mAgent.BeginTick(kTickMs);
    EXPECT_TRUE(mAgent.SendDue());
    EXPECT_EQ(mEnvironment.TakeSent().size(), 32U);
    mEnvironment.room = false;
    EXPECT_FALSE(mAgent.SendDue());
    mEnvironment.room = true;
    EXPECT_EQ(Tick().size(), 8U);
}

TEST_F(AgentExchange, DatagramWithoutRoomIsDroppedAfterThreeTicks)
{
    Open();
    WriteFiles({"a.xml"});
    for (const int waited : {3, 4}) {
        Receive(Get("/a.xml"));
        Receive(PeerNotify("ssdp:alive", "Lumen", kLumen));
        mEnvironment.room = false;
        for (int tick = 0; tick < waited; ++tick) {
            EXPECT_THAT(Tick(), IsEmpty());
        }
        mEnvironment.room = true;
        EXPECT_EQ(Tick().size(), waited == 3 ? 2U : 0U);
    }
}
