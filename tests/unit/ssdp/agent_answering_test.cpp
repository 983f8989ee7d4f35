#include "agent_fixture.h"

#include <gmock/gmock.h>

using test::kCorvia;
using test::kCorviaFile;
using test::Search;
using test::SearchAnswer;
using test::ToPeer;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class AgentAnswering : public test::AgentTest
{
protected:
    // Starts the agent with two services. "Lumen" has another notification type.
    void OpenTwo()
    {
        SSDPDeviceType lumen = test::OwnService("Lumen");
        lumen.notificationType = "urn:vex-com:device:Basic";
        mAgent.AddService(lumen);
        Add();
        Open();
    }

    const test::Sent kCorviaAnswer = ToPeer(SearchAnswer(kCorvia, kCorviaFile));
    const test::Sent kLumenAnswer =
        ToPeer("HTTP/1.1 200 OK\r\nCACHE-CONTROL: max-age=1800\r\nEXT:\r\n"
               "LOCATION: http://192.0.2.10:80/lumen_upnp_ssdp_2.xml\r\n"
               "SERVER: Linux/2.6, UPnP/1.0, SSDP/1.0\r\nST: urn:vex-com:device:Basic\r\n"
               "USN: uuid:65746500-Lumen-192.0.2.10-0\r\n\r\n");
};

} // namespace

TEST_F(AgentAnswering, SearchForAllIsAnsweredForEveryServiceInOrderOfUSN)
{
    OpenTwo();
    EXPECT_THAT(Receive(Search("ssdp:all")), ElementsAre(kCorviaAnswer, kLumenAnswer));
}

TEST_F(AgentAnswering, AnswerGoesAtOnceToTheAddressAndPortOfTheSearch)
{
    OpenAnnounced();
    EXPECT_THAT(Receive(Search("ssdp:all"), "192.0.2.21", 50000),
                ElementsAre(ToPeer(SearchAnswer(kCorvia, kCorviaFile), "192.0.2.21:50000")));
}

TEST_F(AgentAnswering, SearchFromThisDeviceIsAnswered)
{
    OpenAnnounced();
    EXPECT_THAT(Receive(Search("upnp:rootdevice"), test::kOwnAddress),
                ElementsAre(ToPeer(SearchAnswer(kCorvia, kCorviaFile), "192.0.2.10:1900")));
}

TEST_F(AgentAnswering, SearchByUSNIsAnsweredForThatServiceOnly)
{
    OpenTwo();
    EXPECT_THAT(Receive(Search(test::UsnOf(kCorvia))), ElementsAre(kCorviaAnswer));
    EXPECT_THAT(Receive(Search(test::UsnOf("Lumen"))), ElementsAre(kLumenAnswer));
}

TEST_F(AgentAnswering, SearchByUSNComparesTheWholeUSN)
{
    OpenTwo();
    for (const char *usn :
         {"uuid:65746500-Corvia 12-192.0.2.10-1", "uuid:65746500-corvia 12-192.0.2.10-0",
          "uuid:65746500-Corvia 12-192.0.2.10-0:1", "uuid:65746500"}) {
        EXPECT_THAT(Receive(Search(usn)), IsEmpty()) << usn;
    }
}

TEST_F(AgentAnswering, SearchByTypeIsAnsweredForServicesOfThatType)
{
    OpenTwo();
    EXPECT_THAT(Receive(Search("upnp:rootdevice")), ElementsAre(kCorviaAnswer));
    EXPECT_THAT(Receive(Search("urn:vex-com:device:Basic")), ElementsAre(kLumenAnswer));
    EXPECT_THAT(Receive(Search("upnp:RootDevice")), IsEmpty());
    EXPECT_THAT(Receive(Search("urn:vex-com:device:Other")), IsEmpty());
}

TEST_F(AgentAnswering, SearchByTypeMayEndInAVersionOfOneDigit)
{
    OpenTwo();
    EXPECT_THAT(Receive(Search("upnp:rootdevice:1")), ElementsAre(kCorviaAnswer));
    EXPECT_THAT(Receive(Search("urn:vex-com:device:Basic:9")), ElementsAre(kLumenAnswer));
    EXPECT_THAT(Receive(Search("upnp:rootdevice:10")), IsEmpty());
    EXPECT_THAT(Receive(Search("upnp:rootdevice:x")), IsEmpty());
}

TEST_F(AgentAnswering, SearchWithoutTargetOrInLowerCaseIsNotAnswered)
{
    OpenTwo();
    EXPECT_THAT(Receive("M-SEARCH * HTTP/1.1\r\nHOST:239.255.255.250:1900\r\n\r\n"), IsEmpty());
    EXPECT_THAT(Receive("M-SEARCH * HTTP/1.1\r\nST:\r\n\r\n"), IsEmpty());
    EXPECT_THAT(Receive("m-search * HTTP/1.1\r\nST:ssdp:all\r\n\r\n"), IsEmpty());
}

TEST_F(AgentAnswering, SearchIsNotAnsweredWithoutAnnouncedServices)
{
    Open();
    Receive(test::PeerDescription("Lumen", "beta")); // known, but not announced
    EXPECT_THAT(Receive(Search("ssdp:all")), IsEmpty());
    EXPECT_THAT(Receive(Search("upnp:rootdevice")), IsEmpty());
}

TEST_F(AgentAnswering, AnswerWithoutRoomInTheSendBufferIsNotRepeated)
{
    OpenAnnounced();
    mEnvironment.room = false;
    EXPECT_THAT(Receive(Search("ssdp:all")), IsEmpty());
    mEnvironment.room = true;
    EXPECT_THAT(Tick(), IsEmpty());
}
