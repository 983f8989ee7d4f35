#include "formats/ssdp_protocol.h"
#include "simulation/machine.h"
#include "simulation/no_surroundings.h"
#include "simulation/traffic_checks.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

using simulation::kSecond;
using simulation::MakeDatagram;
using simulation::SocketAddress;

namespace {

const std::string kSearch = "M-SEARCH * HTTP/1.1\r\nST: ssdp:all\r\n\r\n";
const std::string kSearchAnswer = "HTTP/1.1 200 OK\r\nST: upnp:rootdevice\r\n\r\n";
const std::string kAlive = "NOTIFY * HTTP/1.1\r\nNTS: ssdp:alive\r\n\r\n";
const std::string kRequest = "GET http://198.18.0.2:80/x.xml HTTP/1.1\r\n\r\n";
const std::string kDocument = "HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\n\r\n";
const std::string kOnLink = "198.18.0.2";
const std::string kOffLink = "203.0.113.7";

// The datagrams of one machine, which starts at 0 s.
class TrafficRules : public testing::Test
{
protected:
    TrafficRules() { mChecks.NoteStart(mMachine, 0); }

    static simulation::Scenario OneDevice()
    {
        simulation::Scenario scenario;
        scenario.devices = 1;
        scenario.expects.announce = 36 * kSecond;
        return scenario;
    }

    void Reply(std::size_t bytes, std::uint16_t port, simulation::Micros at)
    {
        const auto datagram =
            MakeDatagram(std::string(bytes, 'x'), SocketAddress(1, formats::kDiagnosticPort),
                         SocketAddress(2, port), false, 0);
        mChecks.NoteReply(mMachine, *datagram, at);
    }

    void Receive(const std::string &text)
    {
        mChecks.NoteReceived(mMachine, *DatagramTo(text, kOnLink));
    }

    void Send(const std::string &text, const std::string &address = kOnLink,
              simulation::Micros at = 0)
    {
        mChecks.NoteSent(mMachine, *DatagramTo(text, address), simulation::kNoMachine, at);
    }

    static simulation::DatagramPointer DatagramTo(const std::string &text,
                                                  const std::string &address,
                                                  std::uint16_t port = formats::kPort)
    {
        return MakeDatagram(text, SocketAddress(1, formats::kPort),
                            SocketAddress(inet_addr(address.c_str()), port), false, 0);
    }

    void PowerOn() { mMachine.PowerOn(0, simulation::Machine::Publication::WithNextTick); }

    void SwitchOff(simulation::Micros at)
    {
        mMachine.SwitchOff();
        mChecks.NoteSwitched(mMachine, at);
    }

    void EndSecond(simulation::Micros at = kSecond) { mChecks.EverySecond(mMachines, at); }

    std::string Broken()
    {
        std::string texts;
        for (const auto &each : mViolations.First()) {
            texts += each.text + "\n";
        }
        return texts;
    }

    const simulation::Scenario mScenario = OneDevice();
    simulation::Violations mViolations;
    simulation::TrafficChecks mChecks{mScenario, mViolations};
    simulation::NoSurroundings mSurroundings;
    std::vector<std::unique_ptr<simulation::Machine>> mMachines = [this] {
        std::vector<std::unique_ptr<simulation::Machine>> machines;
        machines.push_back(std::make_unique<simulation::Machine>(simulation::MachineSettings(),
                                                                 mSurroundings, 1, "studio-a"));
        return machines;
    }();
    simulation::Machine &mMachine = *mMachines.front();
};

} // namespace

TEST_F(TrafficRules, ForbidAReplyToADiagnosticPort)
{
    Reply(1, 40000, 0);
    EXPECT_EQ(mViolations.Count(), 0U);
    Reply(1, formats::kDiagnosticPort, 0);
    ASSERT_EQ(mViolations.Count(), 1U);
    EXPECT_EQ(mViolations.First()[0].text, "device 1 replies to a diagnostic port");
}

TEST_F(TrafficRules, ForbidDiagnosticRepliesBeyondTheBudget)
{
    Reply(1'048'576 + 262'144, 40000, 0);
    Reply(262'144, 40000, kSecond);
    EXPECT_EQ(mViolations.Count(), 0U);
    Reply(1, 40000, kSecond);
    ASSERT_EQ(mViolations.Count(), 1U);
    EXPECT_EQ(mViolations.First()[0].text, "device 1 has sent 1572865 bytes of diagnostic replies");
}

TEST_F(TrafficRules, AllowOneDocumentForEachRequest)
{
    Receive(kRequest);
    Send(kDocument);
    EXPECT_EQ(Broken(), "");
    Send(kDocument);
    EXPECT_EQ(Broken(), "device 1 sends a document without a cause\n");
}

TEST_F(TrafficRules, AllowOneRequestForEachAnnouncementAndSearchAnswer)
{
    Receive(kAlive);
    Receive(kSearchAnswer);
    Send(kRequest);
    Send(kRequest);
    EXPECT_EQ(Broken(), "");
    Send(kRequest);
    EXPECT_EQ(Broken(), "device 1 sends a request without a cause\n");
}

TEST_F(TrafficRules, AllowFourAnswersToASearch)
{
    Receive(kSearch);
    for (int answer = 0; answer < 4; ++answer) {
        Send(kSearchAnswer);
    }
    EXPECT_EQ(Broken(), "");
    Send(kSearchAnswer);
    EXPECT_EQ(Broken(), "device 1 sends a search answer without a cause\n");
}

TEST_F(TrafficRules, ForbidAnswersToOtherNetworksBeyondTheBudget)
{
    const std::string document = kDocument + std::string(16'384 - kDocument.size(), 'x');
    for (int answer = 0; answer < 7; ++answer) {
        Receive(kRequest);
        Send(document, kOnLink); // not counted
    }
    for (int answer = 0; answer < 6; ++answer) {
        Receive(kRequest);
        Send(document, kOffLink, answer < 5 ? 0 : kSecond);
    }
    EXPECT_EQ(Broken(), "");
    Receive(kRequest);
    Send(kDocument, kOffLink, kSecond);
    EXPECT_EQ(Broken(), "device 1 has sent 98345 bytes off the link\n");
}

TEST_F(TrafficRules, ForbidMoreRequestsAndDocumentsInASecondThanTheirQueuesHold)
{
    for (int count = 0; count < 4096; ++count) {
        Receive(kAlive);
        Send(kRequest);
    }
    for (int count = 0; count < 1024; ++count) {
        Receive(kRequest);
        Send(kDocument);
    }
    EndSecond();
    EXPECT_EQ(Broken(), "");
    for (int count = 0; count < 1025; ++count) {
        Receive(kRequest);
        Send(kDocument);
    }
    EndSecond();
    EXPECT_EQ(Broken(), "device 1 has sent 0 requests and 1025 documents in a second: a queue was "
                        "over its bound\n");
    for (int count = 0; count < 4097; ++count) {
        Receive(kAlive);
        Send(kRequest);
    }
    EndSecond();
    EXPECT_EQ(mViolations.Count(), 2U);
}

TEST_F(TrafficRules, RequireTheFirstAnnouncementInTimeAfterTheStart)
{
    PowerOn();
    EndSecond(36 * kSecond);
    EXPECT_EQ(Broken(), "");
    EndSecond(37 * kSecond);
    EXPECT_EQ(Broken(), "device 1 has not announced itself for 37.000000 s\n");
}

TEST_F(TrafficRules, RequireAnAnnouncementInTimeAfterTheLastOne)
{
    PowerOn();
    mChecks.NoteAnnounced(mMachine, 10 * kSecond);
    EndSecond(46 * kSecond);
    EXPECT_EQ(Broken(), "");
    EndSecond(47 * kSecond);
    EXPECT_EQ(Broken(), "device 1 has not announced itself for 37.000000 s\n");
}

TEST_F(TrafficRules, RequireAnnouncementsOnlyWhileSSDPIsOn)
{
    PowerOn();
    SwitchOff(kSecond);
    EndSecond(100 * kSecond);
    EXPECT_EQ(Broken(), "");
    mMachine.SwitchOn();
    mChecks.NoteSwitched(mMachine, 100 * kSecond);
    EndSecond(136 * kSecond);
    EXPECT_EQ(Broken(), "");
    EndSecond(137 * kSecond);
    EXPECT_EQ(Broken(), "device 1 has not announced itself for 37.000000 s\n");
}

TEST_F(TrafficRules, RequireNoAnnouncementsWhileTheThreadStalls)
{
    PowerOn();
    mMachine.Stall();
    EndSecond(100 * kSecond);
    mMachine.Resume(100 * kSecond);
    mChecks.NoteResumed(mMachine, 100 * kSecond);
    EndSecond(136 * kSecond);
    EXPECT_EQ(Broken(), "");
    EndSecond(137 * kSecond);
    EXPECT_EQ(Broken(), "device 1 has not announced itself for 37.000000 s\n");
}

TEST_F(TrafficRules, RequireAGoodbyeWhenSSDPIsSwitchedOff)
{
    PowerOn();
    mChecks.NoteAnnounced(mMachine, 10 * kSecond);
    SwitchOff(20 * kSecond);
    EndSecond(32 * kSecond);
    EXPECT_EQ(Broken(), "");
    EndSecond(33 * kSecond);
    EXPECT_EQ(Broken(), "device 1 has sent no goodbye, although SSDP is switched off\n");
}

TEST_F(TrafficRules, RequireAnAnnouncementAfterAStallThatEndedWithTheProcess)
{
    PowerOn();
    mMachine.Stall();
    mMachine.Kill();
    PowerOn();
    EndSecond(37 * kSecond);
    EXPECT_EQ(Broken(), "device 1 has not announced itself for 37.000000 s\n");
}

TEST_F(TrafficRules, AcceptTheGoodbyeWhenSSDPIsSwitchedOff)
{
    PowerOn();
    mChecks.NoteAnnounced(mMachine, 10 * kSecond);
    SwitchOff(20 * kSecond);
    mChecks.NoteWithdrawn(mMachine);
    EndSecond(100 * kSecond);
    EXPECT_EQ(Broken(), "");
}

TEST_F(TrafficRules, ForbidAnnouncementsWhileSSDPIsOff)
{
    PowerOn();
    SwitchOff(20 * kSecond);
    mChecks.NoteAnnounced(mMachine, 32 * kSecond); // the goodbye may wait until then
    EXPECT_EQ(Broken(), "");
    mChecks.NoteAnnounced(mMachine, 33 * kSecond);
    EXPECT_EQ(Broken(), "device 1 announces itself, although SSDP is switched off\n");
}

TEST_F(TrafficRules, AllowRequestsOnlyToTheSSDPPortOfAHost)
{
    const auto requestTo = [this](const std::string &address, std::uint16_t port) {
        const std::string before = Broken();
        Receive(kAlive);
        mChecks.NoteSent(mMachine, *DatagramTo(kRequest, address, port), simulation::kNoMachine, 0);
        return Broken().substr(before.size());
    };
    EXPECT_EQ(requestTo("198.18.0.2", 1900), "");
    EXPECT_EQ(requestTo("203.0.113.7", 1900), "");
    EXPECT_EQ(requestTo("198.18.0.2", 1901), "device 1 sends a request to 198.18.0.2, port 1901\n");
    for (const std::string address :
         {"239.255.255.250", "255.255.255.255", "127.0.0.1", "0.0.0.0", "198.19.255.255"}) {
        EXPECT_EQ(requestTo(address, 1900),
                  "device 1 sends a request to " + address + ", port 1900\n");
    }
}
