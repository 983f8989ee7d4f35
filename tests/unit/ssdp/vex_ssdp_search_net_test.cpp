#include "engine_fixture.h"

#include <QDeadlineTimer>

using test::kCorvia;
using test::kCorviaFile;
using test::PeerSocket;
using test::Search;
using test::SearchAnswer;

namespace {

class Answering : public test::EngineTest
{
protected:
    // The first answer to a search, among those to it and to a later search
    // that is always answered: empty when the first was left without one.
    std::string FirstAnswer(const std::string &request)
    {
        PeerSocket asker;
        asker.SendTo(request, test::kOwnAddress, 1900);
        asker.SendTo(Search(test::UsnOf("Lumen")), test::kOwnAddress, 1900);
        const std::string first = asker.Receive();
        return first == kLumenAnswer ? "" : first;
    }

    // With two services, of which "Lumen" has another notification type.
    void OpenTwo()
    {
        SSDPDeviceType lumen = test::OwnService("Lumen");
        lumen.notificationType = "urn:vex-com:device:Basic";
        mEngine.AddService(lumen);
        Add();
        ASSERT_EQ(mEngine.Open(test::kNet0), 1U);
        EXPECT_NE(mPeer.ReceiveContaining("M-SEARCH"), "");
    }

    const std::string kCorviaAnswer = SearchAnswer(kCorvia, kCorviaFile);
    const std::string kLumenAnswer =
        "HTTP/1.1 200 OK\r\nCACHE-CONTROL: max-age=1800\r\nEXT:\r\n"
        "LOCATION: http://192.0.2.10:80/lumen_upnp_ssdp_2.xml\r\n"
        "SERVER: Linux/2.6, UPnP/1.0, SSDP/1.0\r\nST: urn:vex-com:device:Basic\r\n"
        "USN: uuid:65746500-Lumen-192.0.2.10-0\r\n\r\n";
};

} // namespace

TEST_F(Answering, SearchForAllGetsEveryServiceInTheOrderOfTheirNames)
{
    OpenTwo();
    ToEngine(Search("ssdp:all"));
    EXPECT_EQ(mPeer.Receive(), kCorviaAnswer);
    EXPECT_EQ(mPeer.Receive(), kLumenAnswer);
}

TEST_F(Answering, SearchOfTheGroupIsAnsweredLikeOneOfTheAddress)
{
    OpenTwo();
    PeerSocket asker;
    asker.JoinMulticast();
    asker.SendTo(Search("ssdp:all"), "239.255.255.250", 1900);
    EXPECT_EQ(asker.Receive(), kCorviaAnswer);
    EXPECT_EQ(asker.Receive(), kLumenAnswer);
}

TEST_F(Answering, SearchByUsnGetsTheOneService)
{
    OpenTwo();
    ToEngine(Search(test::UsnOf(kCorvia)));
    ToEngine(Search(test::UsnOf("Lumen")));
    EXPECT_EQ(mPeer.Receive(), kCorviaAnswer);
    EXPECT_EQ(mPeer.Receive(), kLumenAnswer);
}

TEST_F(Answering, SearchByUsnComparesItWhole)
{
    OpenTwo();
    EXPECT_EQ(FirstAnswer(Search("uuid:65746500-Corvia 12-192.0.2.10-1")), "");
    EXPECT_EQ(FirstAnswer(Search("uuid:65746500-corvia 12-192.0.2.10-0")), "");
    EXPECT_EQ(FirstAnswer(Search("uuid:65746500-Corvia 12-192.0.2.10-0:1")), "");
}

TEST_F(Answering, SearchByTypeGetsTheServicesOfTheType)
{
    OpenTwo();
    EXPECT_EQ(FirstAnswer(Search("upnp:rootdevice")), kCorviaAnswer);
    EXPECT_EQ(FirstAnswer(Search("upnp:RootDevice")), "");
    EXPECT_EQ(FirstAnswer(Search("urn:vex-com:device:Other")), "");
}

TEST_F(Answering, SearchByTypeMayEndInAVersionOfOneDigit)
{
    OpenTwo();
    EXPECT_EQ(FirstAnswer(Search("upnp:rootdevice:1")), kCorviaAnswer);
    EXPECT_EQ(FirstAnswer(Search("upnp:rootdevice:10")), "");
    EXPECT_EQ(FirstAnswer(Search("upnp:rootdevice:x")), "");
}

TEST_F(Answering, SearchWithoutATargetGetsNothing)
{
    OpenTwo();
    EXPECT_EQ(FirstAnswer("M-SEARCH * HTTP/1.1\r\nHOST:239.255.255.250:1900\r\n\r\n"), "");
    EXPECT_EQ(FirstAnswer("M-SEARCH * HTTP/1.1\r\nST:\r\n\r\n"), "");
    EXPECT_EQ(FirstAnswer("m-search * HTTP/1.1\r\nST:ssdp:all\r\n\r\n"), "");
}

TEST_F(Answering, HasNothingToSayWithoutServices)
{
    ASSERT_EQ(mEngine.Open(test::kNet0), 1U);
    PeerSocket asker;
    asker.SendTo(Search("ssdp:all"), test::kOwnAddress, 1900);
    // A list with this device in it tells that the search has been dealt with.
    asker.SendTo(test::PeerDescription("Lumen", "beta"), test::kOwnAddress, 1900);
    const QDeadlineTimer deadline(10000);
    while (Ask("gn") == "NodeList" && !deadline.hasExpired()) {
    }
    EXPECT_NE(Ask("gn"), "NodeList");
    EXPECT_EQ(asker.Receive(0), "");
}
