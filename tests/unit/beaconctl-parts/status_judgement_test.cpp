#include "status_fixture.h"

#include <cerrno>
#include <cstdlib>
#include <gmock/gmock.h>

using namespace beaconctl;
using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(StatusHealth, IsHealthyIfEverythingIsRight)
{
    const StatusReport report = Judge(Healthy());
    EXPECT_EQ(report.health, Health::Healthy);
    for (const Finding &finding : report.findings) {
        EXPECT_EQ(finding.severity, Severity::Fine) << finding.check << ": " << finding.text;
        EXPECT_EQ(finding.advice, "") << finding.check;
    }
}

TEST(StatusHealth, IsDegradedByAFaultOnly)
{
    Observations seen = Healthy();
    seen.receiveBuffer = 425984; // a notice
    seen.product = {ProductID::Known::NotAllowed, ""};
    EXPECT_EQ(Judge(seen).health, Health::Healthy);
    seen.configuration.ssdpEnable = false;
    EXPECT_EQ(Judge(seen).health, Health::Degraded);
}

TEST(StatusDaemon, IsNamedWithItsUserAndStart)
{
    setenv("TZ", "UTC", 1); // NOLINT(concurrency-mt-unsafe): one thread
    EXPECT_EQ(FindingOf(Healthy(), "daemon").text,
              "process 77 of user beacond since 2026-10-28 01:00:00");
}

TEST(StatusDaemon, ThatDoesNotRunIsTheOnlyFault)
{
    Observations seen = Healthy();
    seen.daemons.clear();
    seen.sockets.clear();
    seen.receiveBuffer.reset();
    seen.engine = {"no answer from 127.0.0.1", {}, {}};
    const StatusReport report = Judge(seen);
    EXPECT_EQ(report.health, Health::NotRunning);
    EXPECT_THAT(Faults(seen), ElementsAre("daemon"));
    EXPECT_EQ(FindingOf(seen, "daemon").text, "beacond does not run");
    EXPECT_EQ(FindingOf(seen, "engine").text, "not checked: beacond does not run");
}

TEST(StatusDaemon, ThatRunsTwiceIsAFault)
{
    Observations seen = Healthy();
    seen.daemons.push_back({99, {}, "root", kNow});
    seen.sockets.push_back({0, 4712, false});
    setenv("TZ", "UTC", 1); // NOLINT(concurrency-mt-unsafe): one thread
    EXPECT_THAT(Faults(seen), ElementsAre("daemon"));
    const Finding finding = FindingOf(seen, "daemon");
    EXPECT_EQ(finding.text, "2 beacond share the ports and the browse list: "
                            "process 77 of user beacond since 2026-10-28 01:00:00, "
                            "process 99 of user root since 2026-10-28 02:00:00");
    EXPECT_EQ(finding.advice,
              "Stop all but one. Before beacond -d, stop the service: systemctl stop beacond");
}

TEST(StatusDaemon, IsUnknownIfItsProcessIsHidden)
{
    Observations seen = Healthy();
    seen.seesProcesses = false;
    seen.daemons.clear();
    seen.daemonRights.reset();
    seen.dnssd.avahiRuns = false;
    EXPECT_EQ(Judge(seen).health, Health::Healthy); // it answers
    EXPECT_EQ(FindingOf(seen, "daemon").severity, Severity::Unknown);
    EXPECT_EQ(FindingOf(seen, "documents").severity, Severity::Unknown);
    seen.dnssd.services.clear();
    EXPECT_EQ(FindingOf(seen, "avahi-daemon").severity, Severity::Unknown);
    seen.engine = {"no answer from 127.0.0.1", {}, {}};
    EXPECT_EQ(Judge(seen).health, Health::NotRunning);
}

TEST(StatusInterface, NamesWhatIsWrongWithNet0)
{
    Observations seen = Healthy();
    const auto text = [&seen](const Interface &interface) {
        seen.interface = interface;
        const Finding finding = FindingOf(seen, "interface");
        EXPECT_NE(finding.advice, "") << finding.text;
        EXPECT_EQ(finding.severity, Severity::Fault) << finding.text;
        return finding.text;
    };
    EXPECT_EQ(text({false, false, false, {}}), "there is no network interface net0");
    EXPECT_EQ(text({true, false, false, {}}), "net0 is down");
    EXPECT_EQ(text({true, true, true, {}}), "net0 has no IPv4 address");
    EXPECT_EQ(text({true, true, true, {"192.0.2.10", "192.0.2.11"}}),
              "net0 has 2 IPv4 addresses: 192.0.2.10, 192.0.2.11");
    EXPECT_EQ(text({true, true, false, {"192.0.2.10"}}), "net0 has no link");
}

TEST(StatusEngine, ThatIsClosedIsAFaultWhoseCauseIsNamed)
{
    Observations seen = Healthy();
    seen.engine = {"no answer from 127.0.0.1", {}, {}};
    EXPECT_EQ(FindingOf(seen, "engine").text, "discovery runs, but not the diagnostic port: "
                                              "no answer from 127.0.0.1");
    seen.sockets = {{0, 1, false}};
    EXPECT_EQ(FindingOf(seen, "engine").text,
              "discovery does not run: another program has UDP port 1900");
    seen.sockets.clear();
    EXPECT_EQ(FindingOf(seen, "engine").text, "discovery does not run on net0");
    EXPECT_EQ(FindingOf(seen, "engine").advice,
              "Restart beacond. Its messages have the reason: journalctl -u beacond");
    seen.interface.addresses.clear();
    EXPECT_EQ(FindingOf(seen, "engine").advice, "Mend the interface first.");
}

TEST(StatusPort, SharedWithAnotherProgramIsANotice)
{
    Observations seen = Healthy();
    seen.sockets.push_back({0, 4712, false});
    const Finding finding = FindingOf(seen, "port");
    EXPECT_EQ(finding.severity, Severity::Notice);
    EXPECT_EQ(finding.text, "other programs use UDP port 1900: it has 2 sockets");
}

TEST(StatusProduct, IsTakenFromTheAnnouncement)
{
    Observations seen = Healthy();
    seen.product = {ProductID::Known::NotAllowed, ""};
    EXPECT_EQ(FindingOf(seen, "product").text, "Corvia 12 (corvia12), board 0x10650001");
    seen.engine.announced->entries.front().product = "Unknown Model";
    EXPECT_EQ(FindingOf(seen, "product").text,
              "the device announces itself as an \"Unknown Model\"");
    EXPECT_THAT(Faults(seen), ElementsAre("product"));
}

TEST(StatusProduct, IsReadFromItsSettingIfTheDeviceIsNotAnnounced)
{
    Observations seen = Healthy();
    seen.engine.announced->entries.clear();
    const auto text = [&seen](const ProductID &product) {
        seen.product = product;
        return FindingOf(seen, "product").text;
    };
    EXPECT_EQ(text({ProductID::Known::Found, "zr2"}), "ZR2 (zr2), board 0x10680002");
    EXPECT_EQ(text({ProductID::Known::Found, "zr3"}),
              "\"zr3\" is not a product: the device is an \"Unknown Model\"");
    EXPECT_EQ(text({ProductID::Known::Missing, ""}),
              "no product is set: the device is an \"Unknown Model\"");
    EXPECT_EQ(FindingOf(seen, "product").advice,
              "Write the product to /etc/product_id, or set PRODUCT_ID in /etc/default/beacond, "
              "and restart beacond. Products: corvia12, corvia12plus, lumen, lumenplus, talonmx, "
              "talonvt, zr1, zr2");
    EXPECT_EQ(text({ProductID::Known::NotAllowed, ""}), "not visible for this user");
    EXPECT_EQ(FindingOf(seen, "product").severity, Severity::Unknown);
}

TEST(StatusConfiguration, SaysWhatTheServiceReports)
{
    EXPECT_EQ(FindingOf(Healthy(), "configuration").text,
              "name \"studio-a\", SSDP on, link up, setup of net0 Complete");
    Observations seen = Healthy();
    seen.configuration = {};
    EXPECT_EQ(
        FindingOf(seen, "configuration").text,
        "name not reported, SSDP not reported, link not reported, setup of net0 not reported");
    EXPECT_EQ(FindingOf(seen, "configuration").severity, Severity::Fault);
}

TEST(StatusConfiguration, ThatKeepsTheDeviceOffTheNetworkIsAFault)
{
    for (const Configuration &configuration :
         {Configuration{"Connection refused", {}, {}, {}, {}},
          Configuration{"", "studio-a", false, "Complete", true},
          Configuration{"", "studio-a", true, "Complete", false},
          Configuration{"", "studio-a", true, "Preparing", true}}) {
        Observations seen = Healthy();
        seen.configuration = configuration;
        EXPECT_THAT(Faults(seen), ElementsAre("configuration"));
        EXPECT_NE(FindingOf(seen, "configuration").advice, "");
    }
}

TEST(StatusConfiguration, WithANameThatIsTooLongForDnssdIsAFault)
{
    Observations seen = Healthy();
    seen.configuration.hostName = "2 " + std::string(62, 'n') + "\xc3\xa9-"; // 63 are kept
    EXPECT_THAT(Faults(seen), IsEmpty());
    seen.configuration.hostName = "2 " + std::string(62, 'n') + "\xc3\xa9-3";
    EXPECT_THAT(Faults(seen), ElementsAre("configuration"));
    EXPECT_EQ(FindingOf(seen, "configuration").advice, "Choose a name of at most 63 letters.");
}

TEST(StatusFolder, NamesWhatKeepsTheDaemonFromWriting)
{
    Observations seen = Healthy();
    const auto text = [&seen](const Folder &folder) {
        seen.documents = folder;
        EXPECT_THAT(Faults(seen), ElementsAre("documents"));
        return FindingOf(seen, "documents").text;
    };
    const Folder good = HealthyFolder("/var/www/html");
    Folder folder = good;
    folder.state.error = ENOENT;
    EXPECT_EQ(text(folder), "/var/www/html is missing");
    folder = good;
    folder.isReadOnly = true;
    EXPECT_EQ(text(folder), "/var/www/html is on a read-only file system");
    folder = good;
    folder.isFull = true;
    EXPECT_EQ(text(folder), "the disk of /var/www/html is full");
    folder = good;
    folder.state.mode = 040755;
    EXPECT_EQ(text(folder), "beacond's user may not write /var/www/html");
    folder = good;
    folder.files = {{"/var/www/html/corvia_12_upnp_ssdp_1.xml", 0, {0, 0, {}}, 0100644}};
    EXPECT_EQ(text(folder), "/var/www/html/corvia_12_upnp_ssdp_1.xml belongs to another user: "
                            "beacond cannot replace it");
}

TEST(StatusFolder, ThatThisUserMayNotExamineIsUnknown)
{
    Observations seen = Healthy();
    seen.lists.state.error = EACCES;
    EXPECT_EQ(FindingOf(seen, "lists").severity, Severity::Unknown);
    EXPECT_EQ(FindingOf(seen, "lists").text, "/var/www/discovery: Permission denied");
}

TEST(StatusAnnouncement, ThatIsMissingIsAFaultUnlessSSDPIsOffOrTheDaemonHasJustStarted)
{
    Observations seen = Healthy();
    seen.engine.announced->entries.clear();
    EXPECT_THAT(Faults(seen), ElementsAre("announcement"));
    EXPECT_EQ(FindingOf(seen, "announcement").text, "the device is not announced by SSDP");
    seen.daemons.front().since = kNow - 1;
    EXPECT_THAT(Faults(seen), IsEmpty());
    seen.daemons.front().since = kNow - 3600;
    seen.configuration.ssdpEnable = false;
    EXPECT_EQ(FindingOf(seen, "announcement").text, "none: SSDP is switched off");
}

TEST(StatusAnnouncement, OfAnAddressThatNet0DoesNotHaveIsAFault)
{
    Observations seen = Healthy();
    EXPECT_EQ(FindingOf(seen, "announcement").text, "\"studio-a\", Corvia 12, 192.0.2.10");
    seen.interface.addresses = {"192.0.2.12"};
    EXPECT_EQ(FindingOf(seen, "announcement").text,
              "beacond announces 192.0.2.10, which net0 does not have");
}

TEST(StatusBrowseList, IsShownWithItsSizeAndAge)
{
    Observations seen = Healthy();
    const auto text = [&seen](std::time_t age) {
        seen.browseList.written = kNow - age;
        return FindingOf(seen, "browse list").text;
    };
    EXPECT_EQ(text(12), "2 devices, 470 bytes, written 12 s ago");
    EXPECT_EQ(text(180), "2 devices, 470 bytes, written 3 min ago");
    EXPECT_EQ(text(7200), "2 devices, 470 bytes, written 2 h ago");
    EXPECT_EQ(text(259200), "2 devices, 470 bytes, written 3 days ago");
    EXPECT_EQ(text(-5), "2 devices, 470 bytes, written in the future");
}

TEST(StatusBrowseList, ThatIsMissingOrOldIsAFault)
{
    Observations seen = Healthy();
    seen.browseList.isCurrent = false;
    EXPECT_THAT(Faults(seen), ElementsAre("browse list"));
    EXPECT_EQ(FindingOf(seen, "browse list").text,
              "2 devices, 470 bytes, written 12 s ago: not what beacond knows, and not updated");
    seen.browseList = {
        "/var/www/discovery/browse.json: No such file or directory", true, 0, 0, 0, {}};
    EXPECT_THAT(Faults(seen), ElementsAre("browse list"));
    EXPECT_EQ(FindingOf(seen, "browse list").text, seen.browseList.error);
}

TEST(StatusBrowseList, ThatHasNoRoomForMoreDevicesIsANotice)
{
    Observations seen = Healthy();
    seen.browseList.devices = 4096;
    EXPECT_EQ(FindingOf(seen, "browse list").severity, Severity::Notice);
    EXPECT_EQ(FindingOf(seen, "browse list").text,
              "4096 devices, 470 bytes, written 12 s ago: no more devices are listed");
}

TEST(StatusDnssd, NamesWhatIsMissing)
{
    Observations seen = Healthy();
    EXPECT_EQ(FindingOf(seen, "avahi-daemon").text, "announces \"studio-a\"");
    seen.dnssd.services.clear();
    EXPECT_THAT(Faults(seen), ElementsAre("avahi-daemon"));
    EXPECT_EQ(FindingOf(seen, "avahi-daemon").text, "runs, but does not announce this device");
    seen.dnssd.avahiRuns = false;
    EXPECT_EQ(FindingOf(seen, "avahi-daemon").text, "avahi-daemon does not run");
    seen.dnssd = {true, false, {}};
    EXPECT_EQ(FindingOf(seen, "avahi-daemon").severity, Severity::Unknown);
}

TEST(StatusReceiveBuffer, ThatIsSmallerThanRequestedIsANotice)
{
    Observations seen = Healthy();
    EXPECT_EQ(FindingOf(seen, "receive buffer").text, "4608000 bytes of 4608000 requested");
    seen.receiveBuffer = 425984;
    EXPECT_EQ(FindingOf(seen, "receive buffer").text,
              "425984 bytes of 4608000 requested: bursts on very large networks may be lost");
    EXPECT_EQ(FindingOf(seen, "receive buffer").severity, Severity::Notice);
    seen.receiveBuffer.reset();
    EXPECT_EQ(FindingOf(seen, "receive buffer").severity, Severity::Unknown);
}

TEST(StatusVersions, ThatDifferAreANotice)
{
    Observations seen = Healthy();
    EXPECT_EQ(FindingOf(seen, "versions").text,
              "beaconctl 1.0.0; package beacond 1.0.0; package avahi-daemon 0.8-10");
    seen.packages.front().version = "0.9.0";
    EXPECT_EQ(FindingOf(seen, "versions").severity, Severity::Notice);
    seen.packages.clear();
    EXPECT_EQ(FindingOf(seen, "versions").text,
              "beaconctl 1.0.0; no package of beacond is installed");
}

TEST(MayCreateIn, FollowsTheBitsOfOwnerGroupAndOthers)
{
    const FileState folder{"", 0, {1, 2, {}}, 040730};
    EXPECT_TRUE(MayCreateIn(folder, {1, 9, {}}));
    EXPECT_TRUE(MayCreateIn(folder, {9, 2, {}}));
    EXPECT_TRUE(MayCreateIn(folder, {9, 9, {3, 2}}));
    EXPECT_FALSE(MayCreateIn(folder, {9, 9, {3}}));
    EXPECT_TRUE(MayCreateIn({"", 0, {1, 2, {}}, 0}, {0, 0, {}})); // root
}

TEST(MayReplace, AllowsFilesOfOthersOnlyWithoutAStickyBit)
{
    const FileState sticky{"", 0, {0, 2, {}}, 041775};
    const FileState plain{"", 0, {0, 2, {}}, 040775};
    const FileState file{"", 0, {5, 2, {}}, 0100664};
    EXPECT_TRUE(MayReplace(file, sticky, {5, 2, {}}));
    EXPECT_FALSE(MayReplace(file, sticky, {6, 2, {}}));
    EXPECT_TRUE(MayReplace(file, plain, {6, 2, {}}));
    EXPECT_FALSE(MayReplace(file, plain, {6, 9, {}}));
    EXPECT_TRUE(MayReplace(file, sticky, {0, 0, {}}));
}
