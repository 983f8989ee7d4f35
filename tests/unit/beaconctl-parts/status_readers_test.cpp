#include "beaconctl/status_finders.h"
#include "beaconctl/status_processes.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace beaconctl;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using std::string_literals::operator""s;

// A response as avahi-daemon sends it to a query from another port than 5353: the query's
// question, then a PTR record and, with compressed names, the TXT record of the service.
std::string Response(const std::string &label, const std::string &txt)
{
    const std::string question = "\5_http\4_tcp\5local\0\0\x0c\0\1"s;
    const std::string name = static_cast<char>(label.size()) + label + "\xc0\x0c";
    const std::string ptr =
        "\xc0\x0c\0\x0c\0\1\0\0\0\x0a\0"s + static_cast<char>(name.size()) + name;
    const auto place = static_cast<char>(12 + question.size() + 12);
    const std::string service =
        "\xc0"s + place + "\0\x10\0\1\0\0\0\x0a\0"s + static_cast<char>(txt.size()) + txt;
    return "\0\0\x84\0\0\1\0\2\0\0\0\0"s + question + ptr + service;
}

const std::string kOurTxt = "\x09txtvers=1\x06path=/";

} // namespace

TEST(ReadProcessStat, FindsTheFieldsAfterANameWithSpacesAndBrackets)
{
    const std::string fields = " 1 77 77 0 -1 4194560 9 8 7 6 5 4 3 2 20 0 5 0 123456 99 88";
    const auto stat = ReadProcessStat("77 (a) Z (b) S" + fields + "\n");
    ASSERT_TRUE(stat);
    EXPECT_FALSE(stat->hasEnded);
    EXPECT_EQ(stat->startTick, 123456U);
    EXPECT_TRUE(ReadProcessStat("77 (beacond) Z" + fields)->hasEnded);
    EXPECT_FALSE(ReadProcessStat("77 (beacond) S 1 77"));
    EXPECT_FALSE(ReadProcessStat(""));
}

TEST(ReadProcessStatus, ReadsTheEffectiveRights)
{
    const auto status = ReadProcessStatus("Name:\tbeacond\nUid:\t1\t101\t3\t4\n"
                                          "Gid:\t1\t102\t3\t4\nGroups:\t5 6 \nNSpid:\t77\n");
    ASSERT_TRUE(status);
    EXPECT_EQ(status->rights.user, 101U);
    EXPECT_EQ(status->rights.group, 102U);
    EXPECT_THAT(status->rights.groups, ElementsAre(5U, 6U));
    EXPECT_FALSE(status->inContainer);
    EXPECT_FALSE(ReadProcessStatus("Name:\tbeacond\n"));
}

TEST(ReadProcessStatus, KnowsAProcessOfAContainerByItsSecondNumber)
{
    EXPECT_TRUE(ReadProcessStatus("Uid:\t0\t0\t0\t0\nNSpid:\t4711\t7\n")->inContainer);
}

TEST(ReadVariable, FindsAVariableByItsWholeName)
{
    const std::string environment = "XPRODUCT_ID=a\0PRODUCT_IDX=b\0PRODUCT_ID=zr1=\0EMPTY=\0"s;
    EXPECT_EQ(ReadVariable(environment, "PRODUCT_ID"), "zr1=");
    EXPECT_EQ(ReadVariable(environment, "EMPTY"), "");
    EXPECT_EQ(ReadVariable(environment, "MISSING"), std::nullopt);
    EXPECT_EQ(ReadVariable("PRODUCT_ID", "PRODUCT_ID"), std::nullopt);
}

TEST(FindProcesses, FindsThisProcessAndNoOtherName)
{
    const std::string name = ReadText("/proc/self/comm").value_or("\n");
    const auto found = FindProcesses(name.substr(0, name.size() - 1));
    // This program may run several times, with different compilers' options.
    const auto own = std::find_if(found.begin(), found.end(),
                                  [](const auto &each) { return each.pid == getpid(); });
    ASSERT_NE(own, found.end());
    EXPECT_EQ(own->rights.user, geteuid());
    EXPECT_NEAR(static_cast<double>(own->since), static_cast<double>(std::time(nullptr)), 60);
    EXPECT_THAT(FindProcesses("no such program"), IsEmpty());
}

TEST(ReadUdpTable, HasTheUnicastSocketsOfThePort)
{
    const auto sockets = ReadUdpTable(
        "   sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  "
        "timeout inode ref pointer drops\n"
        "  1: 00000000:076C 00000000:0000 07 00000000:00000000 00:00000000 00000000   101        0 "
        "4711 2 0000000000000000 0\n"
        "  2: 0A0200C0:076C 00000000:0000 07 00000000:00000000 00:00000000 00000000     0        0 "
        "4712 2 0000000000000000 0\n"
        "  3: FAFFFFEF:076C 00000000:0000 07 00000000:00000000 00:00000000 00000000     0        0 "
        "4713 2 0000000000000000 0\n"
        "  4: 00000000:C29D 00000000:0000 07 00000000:00000000 00:00000000 00000000   101        0 "
        "4714 2 0000000000000000 0\n"
        "  5: 00000000:076C\n",
        1900);
    ASSERT_EQ(sockets.size(), 2U);
    EXPECT_EQ(sockets[0].user, 101U);
    EXPECT_EQ(sockets[0].inode, 4711U);
    EXPECT_EQ(sockets[1].inode, 4712U);
}

TEST(ReadPackages, HasTheInstalledOnes)
{
    const auto packages =
        ReadPackages("installed beacond 1.0.0\nconfig-files beaconctl 0.9.0\ninstalled\n");
    ASSERT_EQ(packages.size(), 1U);
    EXPECT_EQ(packages[0].name, "beacond");
    EXPECT_EQ(packages[0].version, "1.0.0");
}

TEST(ReadServiceNames, HasTheServicesWithTheTxtStringsOfBeacond)
{
    EXPECT_THAT(ReadServiceNames(Response("studio-a", kOurTxt)), ElementsAre("studio-a"));
    EXPECT_THAT(ReadServiceNames(Response("studio-a #2", kOurTxt)), ElementsAre("studio-a #2"));
    EXPECT_THAT(ReadServiceNames(Response("a\\.b\x1b", kOurTxt)), ElementsAre("a\\.b\x1b"));
    EXPECT_THAT(ReadServiceNames(Response("printer", "\x06path=/")), IsEmpty());
}

TEST(ReadServiceNames, FindsNothingInADatagramThatIsCutOrIsNoResponse)
{
    const std::string response = Response("studio-a", kOurTxt);
    for (std::size_t size = 0; size < response.size(); ++size) {
        EXPECT_THAT(ReadServiceNames(response.substr(0, size)), IsEmpty()) << size;
    }
    EXPECT_THAT(ReadServiceNames(ComposeServiceQuery()), IsEmpty());
    EXPECT_THAT(ReadServiceNames("NOTIFY * HTTP/1.1\r\n\r\n"), IsEmpty());
}

TEST(ComposeServiceQuery, AsksForTheTypeInTheClassInternet)
{
    EXPECT_EQ(ComposeServiceQuery(), "\0\0\0\0\0\1\0\0\0\0\0\0\5_http\4_tcp\5local\0\0\x0c\0\1"s);
}

TEST(ReadSystem, AcceptsTheTextsThatTheDaemonAccepts)
{
    Configuration read;
    EXPECT_TRUE(ReadSystem(R"({"hostName":"studio-a","ssdpEnable":false})", read));
    EXPECT_EQ(read.hostName, "studio-a");
    EXPECT_EQ(read.ssdpEnable, false);
    Configuration other;
    EXPECT_TRUE(ReadSystem(R"({"hostName":1})", other));
    EXPECT_EQ(other.hostName, std::nullopt);
    EXPECT_EQ(other.ssdpEnable, std::nullopt);
    EXPECT_FALSE(ReadSystem("<html>", other));
    EXPECT_FALSE(ReadSystem("[]", other));
}

TEST(ReadDevices, TakesTheFirstDevice)
{
    Configuration read;
    EXPECT_TRUE(ReadDevices(
        R"([{"name":"net0","status":{"interfaceSetupState":"Preparing","connected":true}},{}])",
        read));
    EXPECT_EQ(read.setupState, "Preparing");
    EXPECT_EQ(read.connected, true);
    Configuration none;
    EXPECT_TRUE(ReadDevices("[]", none));
    EXPECT_EQ(none.setupState, std::nullopt);
    EXPECT_FALSE(ReadDevices("{}", none));
}
