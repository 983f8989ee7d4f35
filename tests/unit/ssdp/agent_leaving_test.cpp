#include "agent_fixture.h"

#include <gmock/gmock.h>

using test::Alive;
using test::Goodbye;
using test::kCorvia;
using test::kCorviaFile;
using test::kLumen;
using test::PeerDescription;
using test::PeerNotify;
using test::Search;
using test::ToGroup;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class AgentLeaving : public test::AgentTest
{
protected:
    // Makes the agent leave. Returns the datagrams that it sends.
    Datagrams Leave(bool announce = true)
    {
        mAgent.Leave(announce);
        return mEnvironment.TakeSent();
    }
};

} // namespace

TEST_F(AgentLeaving, SendsGoodbyeForEachServiceInOrderOfUSN)
{
    Add("ZR2");
    Add();
    Open();
    EXPECT_THAT(Leave(), ElementsAre(ToGroup(Goodbye(kCorvia, kCorviaFile)),
                                     ToGroup(Goodbye("ZR2", "zr2_upnp_ssdp_2.xml"))));
}

TEST_F(AgentLeaving, SendsNothingWithoutAnnounce)
{
    OpenAnnounced();
    EXPECT_THAT(Leave(false), IsEmpty());
    EXPECT_FALSE(mAgent.IsOpen());
}

TEST_F(AgentLeaving, SecondLeaveSendsNothing)
{
    EXPECT_THAT(Leave(), IsEmpty());
    OpenAnnounced();
    Leave();
    EXPECT_THAT(Leave(), IsEmpty());
    EXPECT_THAT(Leave(false), IsEmpty());
    EXPECT_THAT(mEnvironment.faults, IsEmpty());
}

TEST_F(AgentLeaving, FreesTheFileNumbers)
{
    for (const bool announce : {true, false}) {
        OpenAnnounced(); // expects number 1 in the name of the document
        Leave(announce);
    }
    OpenAnnounced();
}

TEST_F(AgentLeaving, EmptiesTheListsAndFlagsAChange)
{
    OpenAnnounced();
    Receive(PeerDescription("Lumen", "beta"));
    formats::SSDPDeviceMap known;
    ASSERT_TRUE(mAgent.TakeChange(known));
    EXPECT_EQ(known.size(), 2U);
    Leave();
    EXPECT_EQ(Ask("gh"), "HostList");
    EXPECT_EQ(Ask("gn"), "NodeList");
    ASSERT_TRUE(mAgent.TakeChange(known));
    EXPECT_EQ(known.size(), 0U);
    Leave();
    EXPECT_FALSE(mAgent.TakeChange(known));
}

TEST_F(AgentLeaving, DropsQueuedAdditions)
{
    Add();
    Leave();
    EXPECT_THAT(Open(), ElementsAre(ToGroup(Search("upnp:rootdevice"))));
    Add();
    Leave();
    EXPECT_THAT(Open(), ElementsAre(ToGroup(Search("upnp:rootdevice"))));
    EXPECT_THAT(Tick(), IsEmpty());
}

TEST_F(AgentLeaving, ServiceAddedAfterLeavingIsAnnouncedAtTheNextStart)
{
    OpenAnnounced();
    Leave();
    Add("ZR2");
    EXPECT_THAT(Open(), ElementsAre(ToGroup(Alive("ZR2", "zr2_upnp_ssdp_1.xml")),
                                    ToGroup(Search("upnp:rootdevice"))));
}

TEST_F(AgentLeaving, DatagramsAfterLeavingAreIgnored)
{
    OpenAnnounced();
    Leave();
    formats::SSDPDeviceMap known;
    static_cast<void>(mAgent.TakeChange(known));
    for (const std::string &datagram :
         {PeerDescription("Lumen", "beta"), PeerNotify("ssdp:alive", "Lumen", "nowhere"),
          PeerNotify("ssdp:alive", "Lumen", kLumen), std::string("HTTP/1.1 200 OK\r\n\r\n"),
          test::Get("/" + std::string(kCorviaFile)), Search("ssdp:all"),
          std::string("no method")}) {
        EXPECT_THAT(Receive(datagram), IsEmpty()) << datagram;
        EXPECT_THAT(Tick(60000), IsEmpty()) << datagram;
        EXPECT_FALSE(mAgent.TakeChange(known)) << datagram;
    }
    EXPECT_THAT(mEnvironment.faults, IsEmpty());
    EXPECT_EQ(mEnvironment.files.reads, 0);
}

// The file is read without the lock, so the agent may leave meanwhile.
TEST_F(AgentLeaving, DropsAnAnswerWhoseDocumentIsBeingRead)
{
    OpenAnnounced();
    const auto wanted = mAgent.ParseSSDPPacket(test::Get("/" + std::string(kCorviaFile)),
                                               test::SocketAddressOf("192.0.2.20", 1900), 0);
    ASSERT_TRUE(wanted);
    const auto document = mEnvironment.files.Read(wanted->name);
    ASSERT_TRUE(document);
    Leave();
    mAgent.SendGETResponse(*wanted, *document, 0);
    Open();
    EXPECT_THAT(Tick(60000), IsEmpty());
}

TEST_F(AgentLeaving, DropsDatagramsThatWaitToBeSent)
{
    OpenAnnounced();
    Receive(test::Get("/" + std::string(kCorviaFile)));
    Receive(PeerNotify("ssdp:alive", "Lumen", kLumen));
    Leave();
    Open();
    EXPECT_THAT(Tick(60000), IsEmpty());
}

// The engine releases its lock between two batches, so the agent may leave there.
TEST_F(AgentLeaving, EndsARunningTick)
{
    OpenAnnounced();
    for (int i = 0; i < 100; ++i) {
        Receive(PeerNotify("ssdp:alive", "Lumen", kLumen));
    }
    mAgent.BeginTick(test::kTickMs);
    ASSERT_TRUE(mAgent.SendDue());
    EXPECT_LT(mEnvironment.TakeSent().size(), 100U);
    Leave();
    EXPECT_FALSE(mAgent.SendDue());
    mAgent.UpdateContainers(60000);
    EXPECT_THAT(mEnvironment.sent, IsEmpty());
}
