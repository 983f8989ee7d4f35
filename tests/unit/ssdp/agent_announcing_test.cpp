#include "agent_fixture.h"
#include "formats/description_document.h"

#include <gmock/gmock.h>

using test::Alive;
using test::Goodbye;
using test::kCorvia;
using test::kCorviaFile;
using test::kCorviaPath;
using test::Search;
using test::ToGroup;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class AgentAnnouncing : public test::AgentTest
{
protected:
    // The expected document of a service. The maker's address is a setting of the build:
    // it is taken from the actual document.
    [[nodiscard]] static std::string DocumentOf(SSDPDeviceType service, const std::string &file,
                                                const std::string &document)
    {
        const std::string mark = "<manufacturerURL>";
        const std::size_t start = document.find(mark) + mark.size();
        const std::string maker = document.substr(start, document.find('<', start) - start);
        service.usn = test::UsnOf(service.productName);
        return formats::ComposeDescription(service, file, maker);
    }
};

} // namespace

TEST_F(AgentAnnouncing, SearchesOnceAfterTheFirstPass)
{
    Add();
    EXPECT_THAT(Open(), ElementsAre(ToGroup(Alive(kCorvia, kCorviaFile)),
                                    ToGroup("M-SEARCH * HTTP/1.1\r\n"
                                            "HOST:239.255.255.250:1900\r\n"
                                            "ST:upnp:rootdevice\r\n"
                                            "MAN:\"ssdp:discover\"\r\n"
                                            "MX:3\r\n"
                                            "\r\n")));
    for (int tick = 0; tick < 100; ++tick) {
        for (const test::Sent &sent : Tick()) {
            EXPECT_EQ(sent, ToGroup(Alive(kCorvia, kCorviaFile)));
        }
    }
}

TEST_F(AgentAnnouncing, SearchesAlsoWithoutServices)
{
    EXPECT_THAT(Open(), ElementsAre(ToGroup(Search("upnp:rootdevice"))));
    EXPECT_THAT(Tick(), IsEmpty());
}

TEST_F(AgentAnnouncing, SendsNothingWithoutAnInterface)
{
    Add();
    mAgent.Start();
    EXPECT_THAT(Tick(), IsEmpty());
    EXPECT_THAT(Receive(Search("ssdp:all")), IsEmpty());
    EXPECT_THAT(mEnvironment.sent, IsEmpty());
    EXPECT_THAT(mEnvironment.files.documents, IsEmpty());
    EXPECT_FALSE(mAgent.IsOpen());
}

TEST_F(AgentAnnouncing, DrawsPollIntervalFrom4250To5749Milliseconds)
{
    for (const auto &[drawn, tickMs] :
         {std::pair(0U, 4250U), {1499U, 5749U}, {1500U, 4250U}, {0x7FFFFFFFU, 5397U}}) {
        mEnvironment.random = drawn;
        mAgent.Start();
        EXPECT_EQ(mAgent.PollIntervalMs(), tickMs);
    }
}

TEST_F(AgentAnnouncing, AnnouncesEachServiceOnceInOrderOfUSN)
{
    Add("ZR2");
    Add("Corvia 12 Plus");
    Add();
    EXPECT_THAT(Open(),
                ElementsAre(ToGroup(Alive("Corvia 12 Plus", "corvia_12_plus_upnp_ssdp_1.xml")),
                            ToGroup(Alive("Corvia 12", "corvia_12_upnp_ssdp_2.xml")),
                            ToGroup(Alive("ZR2", "zr2_upnp_ssdp_3.xml")),
                            ToGroup(Search("upnp:rootdevice"))));
}

TEST_F(AgentAnnouncing, AnnouncesAnAddedServiceAtTheNextTick)
{
    Open();
    Add();
    EXPECT_THAT(mEnvironment.sent, IsEmpty());
    EXPECT_THAT(Tick(), ElementsAre(ToGroup(Alive(kCorvia, kCorviaFile))));
}

TEST_F(AgentAnnouncing, RepeatsAnnouncementWhenThePeriodWouldEndBeforeTheNextTick)
{
    OpenAnnounced(); // with a period of 20 s
    for (int round = 0; round < 3; ++round) {
        EXPECT_THAT(Tick(5000), IsEmpty());
        EXPECT_THAT(Tick(5000), IsEmpty());
        EXPECT_THAT(Tick(5000), ElementsAre(ToGroup(Alive(kCorvia, kCorviaFile))));
    }
}

// The period is 20 s. The service is announced when another tick like the last one would end it.
TEST_F(AgentAnnouncing, NoTimeOfThePeriodPassesInTheFirstPass)
{
    OpenAnnounced();
    EXPECT_EQ(Tick(1), Datagrams{});
    EXPECT_EQ(Tick(9999), Datagrams{});
    EXPECT_EQ(Tick(9999), Datagrams{ToGroup(Alive(kCorvia, kCorviaFile))});
}

TEST_F(AgentAnnouncing, DrawsThePeriodFrom15To24SecondsForEachDocument)
{
    Open();
    std::string product = "A";
    for (const auto &[drawn, periodMs] : {std::pair(0U, 15000U), {9U, 24000U}, {10U, 15000U}}) {
        mEnvironment.random = drawn;
        Add(product);
        Tick(0);
        EXPECT_EQ(mAgent.HostList().at(test::UsnOf(product)).timerPeriod, periodMs);
        product += "A";
    }
}

TEST_F(AgentAnnouncing, UsesTheLatestFieldsOfAServiceThatIsAddedTwice)
{
    SSDPDeviceType service = test::OwnService();
    service.hostName = "former";
    mAgent.AddService(service);
    OpenAnnounced();
    const std::string document = mEnvironment.files.documents.at(kCorviaPath);
    EXPECT_EQ(document, DocumentOf(test::OwnService(), kCorviaFile, document));
}

TEST_F(AgentAnnouncing, AddServiceSetsUSNAndClearsPeriodInTheCallersRecord)
{
    SSDPDeviceType service = test::OwnService();
    service.timerPeriod = 5;
    mAgent.AddService(service);
    EXPECT_EQ(service.usn, "uuid:65746500-Corvia 12-192.0.2.10-0");
    EXPECT_EQ(service.timerPeriod, 0U);
}

TEST_F(AgentAnnouncing, DoesNotAnnounceAServiceThatIsRemovedBeforeTheFirstPass)
{
    Add();
    mAgent.RemoveService(kCorvia, test::kOwnAddress, 0);
    Add("Lumen");
    mAgent.RemoveService("uuid:65746500-Lumen");
    Add("TalonMx");
    mAgent.RemoveService("Talon"); // a prefix matches only before a "-"
    EXPECT_THAT(Open(), ElementsAre(ToGroup(Alive("TalonMx", "talonmx_upnp_ssdp_1.xml")),
                                    ToGroup(Search("upnp:rootdevice"))));
}

TEST_F(AgentAnnouncing, SendsOneGoodbyeForARemovedService)
{
    OpenAnnounced();
    mAgent.RemoveService(kCorvia, test::kOwnAddress, 1); // another instance
    EXPECT_THAT(Tick(0), IsEmpty());
    mAgent.RemoveService(kCorvia, test::kOwnAddress, 0);
    EXPECT_THAT(mEnvironment.sent, IsEmpty());
    EXPECT_THAT(Tick(0), ElementsAre(ToGroup(Goodbye(kCorvia, kCorviaFile))));
    EXPECT_THAT(Tick(60000), IsEmpty());
    Add("ZR2");
    EXPECT_THAT(Tick(), ElementsAre(ToGroup(Alive("ZR2", "zr2_upnp_ssdp_1.xml"))));
}

TEST_F(AgentAnnouncing, DrawsMaxAgeForAServiceWithoutMaxAge)
{
    SSDPDeviceType service = test::OwnService();
    service.maxAge.clear();
    mAgent.AddService(service);
    EXPECT_EQ(Open().at(0).text,
              "NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: upnp:rootdevice\r\n"
              "NTS: ssdp:alive\r\nLOCATION: http://192.0.2.10:80/corvia_12_upnp_ssdp_1.xml\r\n"
              "USN: uuid:65746500-Corvia 12-192.0.2.10-0\r\nCACHE-CONTROL: max-age=125\r\n"
              "SERVER: Linux/2.6, UPnP/1.0, SSDP/1.0\r\n\r\n");
}

TEST_F(AgentAnnouncing, WritesTheDocumentThatTheLocationNames)
{
    OpenAnnounced();
    ASSERT_EQ(mEnvironment.files.documents.size(), 1U);
    const std::string document = mEnvironment.files.documents.at(kCorviaPath);
    EXPECT_EQ(document, DocumentOf(test::OwnService(), kCorviaFile, document));
}

TEST_F(AgentAnnouncing, DoesNotAnnounceAServiceWhoseDocumentCannotBeWritten)
{
    mEnvironment.files.writable = false;
    Add();
    EXPECT_THAT(Open(), ElementsAre(ToGroup(Search("upnp:rootdevice"))));
    EXPECT_THAT(mEnvironment.TakeFaults(),
                ElementsAre("GenerateDeviceDescriptionFile: Failed to open the SSDP XML file",
                            "UpdateContainers: Unable to generate a description file for "
                            "uuid:65746500-Corvia 12-192.0.2.10-0, Corvia 12"));
    EXPECT_THAT(Tick(60000), IsEmpty());
    EXPECT_THAT(mEnvironment.TakeFaults(), IsEmpty());
    EXPECT_EQ(Ask("gh"), "HostList");
    mEnvironment.files.writable = true;
    Add();
    // Number 1 stays in use.
    EXPECT_THAT(Tick(), ElementsAre(ToGroup(Alive(kCorvia, "corvia_12_upnp_ssdp_2.xml"))));
}

TEST_F(AgentAnnouncing, DoesNotAnnounceAServiceWhenNoFileNumberIsFree)
{
    mEnvironment.files.numbersLeft = false;
    Add();
    EXPECT_THAT(Open(), ElementsAre(ToGroup(Search("upnp:rootdevice"))));
    EXPECT_THAT(mEnvironment.TakeFaults(),
                ElementsAre("GetFileNumber: Unable to generate a file number",
                            "UpdateContainers: Unable to generate a description file for "
                            "uuid:65746500-Corvia 12-192.0.2.10-0, Corvia 12"));
    EXPECT_THAT(mEnvironment.files.documents, IsEmpty());
    EXPECT_EQ(Ask("gh"), "HostList");
}
