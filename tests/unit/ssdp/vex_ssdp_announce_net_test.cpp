#include "engine_fixture.h"
#include "formats/description_document.h"

#include <gmock/gmock.h>

using test::Alive;
using test::Goodbye;
using test::kCorvia;
using test::kCorviaFile;
using test::kNet0;
using test::Search;

namespace {

using Announcing = test::EngineTest;

constexpr const char *kDocument = "/var/www/html/corvia_12_upnp_ssdp_1.xml";

} // namespace

TEST_F(Announcing, SearchesOnceAfterTheFirstPass)
{
    Add();
    ASSERT_EQ(mEngine.Open(kNet0), 1U);
    EXPECT_EQ(mPeer.Receive(), Alive(kCorvia, kCorviaFile));
    EXPECT_EQ(mPeer.Receive(), "M-SEARCH * HTTP/1.1\r\n"
                               "HOST:239.255.255.250:1900\r\n"
                               "ST:upnp:rootdevice\r\n"
                               "MAN:\"ssdp:discover\"\r\n"
                               "MX:3\r\n"
                               "\r\n");
}

TEST_F(Announcing, SearchesAlsoWithNothingToAnnounce)
{
    ASSERT_EQ(mEngine.Open(kNet0), 1U);
    EXPECT_EQ(mPeer.Receive(), Search("upnp:rootdevice"));
}

TEST_F(Announcing, AnswersItsOwnSearch)
{
    // Bound to the very address, this socket gets what is sent to the searcher.
    VEXUDPSocket own;
    ASSERT_EQ(own.Open(test::kOwnAddress, 1900, VEXUDPSocket::Port::Shared), kVEXSuccess);
    OpenAnnounced();
    EXPECT_EQ(test::Receive(own), test::SearchAnswer(kCorvia, kCorviaFile));
}

TEST_F(Announcing, SendsEachServiceOnceInTheOrderOfTheirNames)
{
    Add("ZR2");
    Add("Corvia 12 Plus");
    Add();
    ASSERT_EQ(mEngine.Open(kNet0), 1U);
    EXPECT_EQ(mPeer.Receive(), Alive("Corvia 12 Plus", "corvia_12_plus_upnp_ssdp_1.xml"));
    EXPECT_EQ(mPeer.Receive(), Alive("Corvia 12", "corvia_12_upnp_ssdp_2.xml"));
    EXPECT_EQ(mPeer.Receive(), Alive("ZR2", "zr2_upnp_ssdp_3.xml"));
    EXPECT_EQ(mPeer.Receive(), Search("upnp:rootdevice"));
}

TEST_F(Announcing, TakesTheLatestFieldsOfAServiceThatIsAddedTwice)
{
    SSDPDeviceType service = test::OwnService();
    service.hostName = "former";
    mEngine.AddService(service);
    Add();
    ASSERT_EQ(mEngine.Open(kNet0), 1U);
    EXPECT_EQ(mPeer.Receive(), Alive(kCorvia, kCorviaFile));
    EXPECT_EQ(mPeer.Receive(), Search("upnp:rootdevice"));
    EXPECT_THAT(test::ReadFile(kDocument),
                testing::HasSubstr("<friendlyName>alpha</friendlyName>"));
}

TEST_F(Announcing, AddServiceGivesTheCallersRecordItsUsnAndNoPeriod)
{
    SSDPDeviceType service = test::OwnService();
    service.timerPeriod = 5;
    mEngine.AddService(service);
    EXPECT_EQ(service.usn, "uuid:65746500-Corvia 12-192.0.2.10-0");
    EXPECT_EQ(service.timerPeriod, 0U);
}

TEST_F(Announcing, SendsNothingForAServiceRemovedBeforeItsAnnouncement)
{
    Add();
    mEngine.RemoveService(kCorvia, test::kOwnAddress);
    Add("Lumen");
    mEngine.RemoveService("uuid:65746500-Lumen");
    Add("TalonMx");
    mEngine.RemoveService("Talon"); // matches with a "-" behind it only
    ASSERT_EQ(mEngine.Open(kNet0), 1U);
    EXPECT_EQ(mPeer.Receive(), Alive("TalonMx", "talonmx_upnp_ssdp_1.xml"));
    EXPECT_EQ(mPeer.Receive(), Search("upnp:rootdevice"));
}

TEST_F(Announcing, DrawsAMaxAgeForAServiceWithoutOne)
{
    SSDPDeviceType service = test::OwnService();
    service.maxAge.clear();
    mEngine.AddService(service);
    ASSERT_EQ(mEngine.Open(kNet0), 1U);
    EXPECT_THAT(mPeer.Receive(),
                testing::ContainsRegex("\r\nCACHE-CONTROL: max-age=12[0-9]\r\nSERVER: "));
}

TEST_F(Announcing, WritesTheDocumentThatTheLocationNames)
{
    OpenAnnounced();
    const std::string document = test::ReadFile(kDocument);
    const std::string mark = "<manufacturerURL>"; // a setting of the build follows
    const std::size_t start = document.find(mark) + mark.size();
    const std::string maker = document.substr(start, document.find('<', start) - start);
    SSDPDeviceType service = test::OwnService();
    service.usn = "uuid:65746500-Corvia 12-192.0.2.10-0";
    EXPECT_EQ(document, formats::ComposeDescription(service, kCorviaFile, maker));
}

TEST_F(Announcing, LeavesByItsInterfaceAgainstTheDefaultRoute)
{
    test::OnHost("ip link add other0 type veth peer name other1 && "
                 "ip addr add 192.0.2.129/30 dev other0 && ip link set other0 up && "
                 "ip link set other1 up && ip route add default dev other0");
    OpenAnnounced();
    mEngine.Close();
    EXPECT_EQ(mPeer.Receive(), Goodbye(kCorvia, kCorviaFile));
    test::OnHost("ip link del other0");
}

TEST_F(Announcing, GoodbyeLeavesAfterTheAddressHasChanged)
{
    OpenAnnounced(); // without any route to the group
    test::OnHost("ip addr del 192.0.2.10/24 dev net0 && ip addr add 192.0.2.30/24 dev net0");
    mEngine.Close();
    EXPECT_EQ(mPeer.Receive(), Goodbye(kCorvia, kCorviaFile));
    test::OnHost("ip addr del 192.0.2.30/24 dev net0 && ip addr add 192.0.2.10/24 dev net0");
}
