#include "simulation/list_checks.h"

#include "formats/ssdp_protocol.h"
#include "simulation/no_surroundings.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <string>

using simulation::kSecond;
using simulation::Machine;
using simulation::Micros;

namespace {

const std::string kZR1 = "uuid:65746500-ZR1-198.18.240.0-0";

simulation::Scenario TwoDevices()
{
    std::string error;
    simulation::Scenario scenario =
        simulation::ReadScenario("two",
                                 "There are 2 devices.\nIt ends at 900 s.\n"
                                 "Every list is complete and correct 90 s after the last change.\n"
                                 "A goodbye removes the device from every list within 10 s.\n"
                                 "A silent device is removed within 250 s.\n",
                                 error);
    EXPECT_EQ(error, "");
    return scenario;
}

std::string DescriptionOf(const std::string &usn, const std::string &address)
{
    return "HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\n\r\n<friendlyName>device-2</friendlyName>"
           "<modelName>Lumen</modelName><modelNumber>0x1</modelNumber>"
           "<modelDescription>x</modelDescription><UDN>" +
           usn + "</UDN><presentationURL>http://" + address + ":80/index.html</presentationURL>";
}

// Device 1 is on since 0 s; it lists itself and device 2. Device 2 is only known by its datagrams.
class ListRules : public testing::Test
{
protected:
    ListRules()
    {
        One().PowerOn(0, Machine::Publication::AtOnce);
        mChecks.NoteEmptied(One(), 0);
        mChecks.Settle(0, 0);
        mChecks.Settle(1, 0);
        mChecks.NotePublished(One());
        Describe(Two().Usn(), "198.18.0.2");
        mChecks.NotePublished(Two());
    }

    [[nodiscard]] Machine &One() { return *mMachines[0]; }
    [[nodiscard]] Machine &Two() { return *mMachines[1]; }

    // A description arrives at device 1, which lists its device.
    void Describe(const std::string &usn, const std::string &address)
    {
        constexpr std::uint32_t kFirstRun = 1;
        const auto datagram = simulation::MakeDatagram(
            DescriptionOf(usn, address),
            simulation::SocketAddress(inet_addr(address.c_str()), formats::kPort),
            simulation::SocketAddress(One().Address(), formats::kPort), false, 1);
        ASSERT_TRUE(One().Receive(datagram, kSecond));
        One().HandleBatch(kSecond, kFirstRun);
        ASSERT_EQ(One().Agent().NodeList().count(usn), 1U);
    }

    // The rules that are broken at a time.
    std::string BrokenAt(Micros now)
    {
        const std::size_t before = mViolations.First().size();
        mChecks.EverySecond(now);
        std::string texts;
        for (std::size_t place = before; place < mViolations.First().size(); ++place) {
            texts += mViolations.First()[place].text + "\n";
        }
        return texts;
    }

    static simulation::ListChecks::Machines MakeMachines(simulation::Surroundings &surroundings)
    {
        simulation::ListChecks::Machines machines;
        for (std::uint32_t number = 0; number < 2; ++number) {
            simulation::MachineSettings settings;
            settings.number = number;
            settings.product = "Lumen";
            settings.category = "Studio";
            settings.board = "0x1";
            settings.netmask.s_addr = htonl(simulation::kLinkMask);
            settings.receiveBuffer = 10'000;
            machines.push_back(std::make_unique<Machine>(
                settings, surroundings, htonl(simulation::kLinkNetwork + number + 1),
                "device-" + std::to_string(number + 1)));
        }
        return machines;
    }

    const simulation::Scenario mScenario = TwoDevices();
    simulation::Violations mViolations;
    simulation::NoSurroundings mSurroundings;
    const simulation::ListChecks::Machines mMachines = MakeMachines(mSurroundings);
    simulation::ListChecks mChecks{mScenario, mMachines, mViolations};
};

} // namespace

TEST_F(ListRules, AreKeptByACorrectList)
{
    EXPECT_EQ(BrokenAt(600 * kSecond), "");
}

TEST_F(ListRules, ForbidADeviceThatDoesNotExist)
{
    Describe("uuid:65746500-Lumen-198.18.0.9-0", "198.18.0.9");
    EXPECT_EQ(BrokenAt(2 * kSecond),
              "device 1 lists uuid:65746500-Lumen-198.18.0.9-0, which does not exist\n");
}

TEST_F(ListRules, AcceptADeviceThatDoesNotExistForSomeTimeAfterForgedDescriptions)
{
    mChecks.AcceptForged(300 * kSecond);
    Describe("uuid:65746500-Lumen-198.18.0.9-0", "198.18.0.9");
    EXPECT_EQ(BrokenAt(300 * kSecond), "");
    EXPECT_EQ(BrokenAt(301 * kSecond),
              "device 1 lists uuid:65746500-Lumen-198.18.0.9-0, which does not exist\n");
}

TEST_F(ListRules, RequireThatADeviceListsItself)
{
    One().Kill();
    One().PowerOn(4 * kSecond, Machine::Publication::WithNextTick);
    EXPECT_EQ(BrokenAt(5 * kSecond), "device 1 does not list itself\n");
}

TEST_F(ListRules, AllowADeviceNotToListItselfAfterForgedGoodbyes)
{
    mChecks.IgnoreOwn();
    One().Kill();
    One().PowerOn(4 * kSecond, Machine::Publication::WithNextTick);
    EXPECT_EQ(BrokenAt(5 * kSecond), "");
}

TEST_F(ListRules, RequireThatAStalledDeviceIsForgotten)
{
    mChecks.NoteStalled(1, 10 * kSecond);
    EXPECT_EQ(BrokenAt(260 * kSecond), "");
    EXPECT_EQ(BrokenAt(261 * kSecond), "device 1 still lists device 2, from which it has heard "
                                       "nothing for 251.000000 s\n");
    mChecks.NoteResumed(1, 262 * kSecond);
    mChecks.Settle(1, 262 * kSecond);
    EXPECT_EQ(BrokenAt(263 * kSecond), "");
}

TEST_F(ListRules, RequireThatTheSidesOfASplitForgetEachOther)
{
    for (const std::uint32_t split : {0U, 1U}) {
        const Micros start = 1000 * kSecond * (split + 1);
        mChecks.NoteSplit(split, start);
        EXPECT_EQ(BrokenAt(start + 250 * kSecond), "");
        EXPECT_EQ(BrokenAt(start + 251 * kSecond), "device 1 still lists device 2, from which it "
                                                   "has heard nothing for 251.000000 s\n");
        mChecks.NoteHealed(split, start + 252 * kSecond);
        mChecks.Settle(split, start + 252 * kSecond);
    }
}

TEST_F(ListRules, AllowDevicesOnTheSameSideOfASplitToListEachOther)
{
    mChecks.NoteSplit(0, 10 * kSecond);
    mChecks.NoteSplit(1, 10 * kSecond);
    EXPECT_EQ(BrokenAt(600 * kSecond), "");
}

// The receive buffer may contain datagrams of a device that has stalled since.
TEST_F(ListRules, GiveADeviceThatWasStalledItselfTheWholeTime)
{
    mChecks.NoteStalled(1, 10 * kSecond);
    mChecks.NoteStalled(0, 10 * kSecond);
    EXPECT_EQ(BrokenAt(300 * kSecond), "");
    mChecks.NoteResumed(0, 300 * kSecond);
    mChecks.Settle(0, 300 * kSecond);
    EXPECT_EQ(BrokenAt(550 * kSecond), "");
    EXPECT_NE(BrokenAt(551 * kSecond), "");
}

TEST_F(ListRules, RequireThatAProxiedDeviceIsRemovedAfterItsGoodbye)
{
    mChecks.NoteProxied(Two(), kZR1, 2 * kSecond);
    Describe(kZR1, "198.18.240.0");
    EXPECT_EQ(BrokenAt(3 * kSecond), "");
    mChecks.NoteProxyGoodbye(Two(), kZR1, 100 * kSecond);
    EXPECT_EQ(BrokenAt(128 * kSecond), "");
    EXPECT_EQ(BrokenAt(129 * kSecond),
              "device 1 still lists " + kZR1 + ", which left with a goodbye 29.000000 s ago\n");
}

TEST_F(ListRules, RequireThatADeviceIsRemovedWhenItsProxyIsGone)
{
    mChecks.NoteProxied(Two(), kZR1, 2 * kSecond);
    Describe(kZR1, "198.18.240.0");
    mChecks.NoteGone(Two(), 100 * kSecond);
    EXPECT_EQ(BrokenAt(350 * kSecond), "");
    mChecks.NotePublished(Two());
    EXPECT_EQ(BrokenAt(368 * kSecond), "");
    EXPECT_EQ(BrokenAt(369 * kSecond),
              "device 1 still lists " + kZR1 + ", which left 269.000000 s ago\n");
}

TEST_F(ListRules, AllowADeviceToListWhatItAddsUntilItsEngineOpensAgain)
{
    mChecks.NoteAdded(One(), kZR1);
    Describe(kZR1, "198.18.240.0");
    EXPECT_EQ(BrokenAt(2 * kSecond), "");
    mChecks.NoteEmptied(One(), 3 * kSecond);
    mChecks.Settle(0, 3 * kSecond);
    EXPECT_EQ(BrokenAt(4 * kSecond), "device 1 lists " + kZR1 + ", which does not exist\n");
}

TEST_F(ListRules, RequireThatADeviceThatOpensLaterListsAProxiedOne)
{
    mChecks.NoteProxied(Two(), kZR1, 2 * kSecond);
    EXPECT_EQ(BrokenAt(300 * kSecond), "");
    mChecks.NoteEmptied(One(), 3 * kSecond);
    mChecks.Settle(0, 3 * kSecond);
    EXPECT_EQ(BrokenAt(93 * kSecond), "");
    EXPECT_EQ(BrokenAt(94 * kSecond),
              "device 1 does not list " + kZR1 + ", which device 2 announces\n");
}

TEST_F(ListRules, ForbidAGoodbyeForADeviceThatHasReturned)
{
    mChecks.NoteProxied(One(), Two().Usn(), 2 * kSecond);
    mChecks.NoteProxyGoodbye(One(), Two().Usn(), 3 * kSecond);
    ASSERT_EQ(mViolations.Count(), 1U);
    EXPECT_EQ(mViolations.First()[0].text,
              "device 1 sends a goodbye for " + Two().Usn() + ", which announces itself");
}
