#include "two_devices.h"

namespace {

using test::LiveChild;

class MdnsOnTheNetwork : public TwoDevices
{
};

TEST_F(MdnsOnTheNetwork, APeerSeesNameTypePortAndTxt)
{
    LiveChild peer = browser();
    LiveChild studio = device({publishAs("studio-a")});
    EXPECT_TRUE(peer.WaitForOut(seen("studio-a")));
    EXPECT_TRUE(studio.WaitForErr(established("studio-a")));
    EXPECT_EQ(end(studio), 0);
    EXPECT_EQ(studio.Err(), named("studio-a") + established("studio-a"));
    EXPECT_TRUE(peer.WaitForOut(gone("studio-a")));
}

TEST_F(MdnsOnTheNetwork, APeerSeesNamesMadeFromUnusualHostNames)
{
    LiveChild peer = browser();
    LiveChild digits = device({publishAs("2nd Studio_A")});
    LiveChild umlaut = device({publishAs("K\xc3\xb6ln-9")});
    LiveChild longest = device({publishAs(std::string(63, 'a'))});
    LiveChild hyphens = device({publishAs("--"), rename(QString())});
    EXPECT_TRUE(peer.WaitForOut(seen("ndStudioA")));
    EXPECT_TRUE(peer.WaitForOut(seen("Kln-9")));
    EXPECT_TRUE(peer.WaitForOut(seen(std::string(63, 'a'))));
    EXPECT_TRUE(peer.WaitForOut(seen("vex--")));
    hyphens.Send(".");
    EXPECT_TRUE(peer.WaitForOut(seen("vex-Corvia\\03212-0042")));
    EXPECT_TRUE(peer.WaitForOut(gone("vex--")));
    for (LiveChild *each : {&digits, &umlaut, &longest, &hyphens}) {
        EXPECT_EQ(end(*each), 0);
    }
}

// A DNS label has at most 63 bytes. The publisher allows longer names, and Avahi refuses
// them.
TEST_F(MdnsOnTheNetwork, ANameThatIsTooLongForDnsEndsTheProcess)
{
    LiveChild studio = device({publishAs(std::string(300, 'a'))});
    EXPECT_EQ(studio.WaitForEnd(), 1);
    EXPECT_EQ(studio.Err(), named(std::string(255, 'a')) + "Failed to add service " +
                                std::string(255, 'a') + ": Invalid service name\n");
}

TEST_F(MdnsOnTheNetwork, PublishingTheSameEntryAgainReplacesItsTxtStrings)
{
    LiveChild peer = browser();
    LiveChild studio =
        device({publishAs("studio-e"), [](Mdns &mdns) {
                    mdns.publishMdnsEntry("_http._tcp", 80, {QStringLiteral("path=/new")});
                }});
    EXPECT_TRUE(peer.WaitForOut(seen("studio-e")));
    EXPECT_TRUE(studio.WaitForErr(established("studio-e")));
    studio.Send(".");
    EXPECT_TRUE(studio.WaitForErr(established("studio-e")));
    EXPECT_TRUE(seesEventually(seen("studio-e", R"("path=/new")")));
    EXPECT_EQ(end(studio), 0);
    EXPECT_EQ(studio.Err(), named("studio-e") + established("studio-e") + established("studio-e"));
}

TEST_F(MdnsOnTheNetwork, AnUnpublishedServiceDisappearsAndTheOthersStay)
{
    LiveChild http = browser();
    LiveChild ftp = browser("_ftp._tcp");
    LiveChild studio = device({[](Mdns &mdns) {
                                   publishAs("studio-f")(mdns);
                                   mdns.publishMdnsEntry("_ftp._tcp", 21, {});
                               },
                               [](Mdns &mdns) {
                                   mdns.unpublishMdnsEntry("_http._tcp", 21); // not published
                                   mdns.unpublishMdnsEntry("_ftp._tcp", 21);
                               }});
    EXPECT_TRUE(
        ftp.WaitForOut("=;peer0;IPv4;studio-f;_ftp._tcp;local;device.local;192.0.2.10;21;\n"));
    EXPECT_TRUE(http.WaitForOut(seen("studio-f")));
    EXPECT_TRUE(studio.WaitForErr(established("studio-f")));
    studio.Send(".");
    EXPECT_TRUE(ftp.WaitForOut("-;peer0;IPv4;studio-f;_ftp._tcp;local\n"));
    EXPECT_TRUE(studio.WaitForErr(established("studio-f")));
    LiveChild later = browser();
    EXPECT_TRUE(later.WaitForOut(seen("studio-f")));
    EXPECT_EQ(end(studio), 0);
    EXPECT_EQ(studio.Err(), named("studio-f") + established("studio-f") + established("studio-f"));
}

// Avahi refuses to commit an empty group, which is a failure like the others.
TEST_F(MdnsOnTheNetwork, UnpublishingTheLastServiceEndsTheProcess)
{
    LiveChild peer = browser();
    LiveChild studio = device(
        {publishAs("studio-j"), [](Mdns &mdns) { mdns.unpublishMdnsEntry("_http._tcp", 80); }});
    EXPECT_TRUE(peer.WaitForOut(seen("studio-j")));
    EXPECT_TRUE(studio.WaitForErr(established("studio-j")));
    studio.Send(".");
    EXPECT_EQ(studio.WaitForEnd(), 1);
    EXPECT_EQ(studio.Err(),
              named("studio-j") + established("studio-j") + "error committing group - Is empty\n");
    EXPECT_TRUE(peer.WaitForOut(gone("studio-j")));
}

// The leak sanitizer runs when the device ends.
TEST_F(MdnsOnTheNetwork, PublishingRenamingAndUnpublishingRepeatedlyLeaksNothing)
{
    LiveChild studio = device({publishAs("studio-l"), [](Mdns &mdns) {
                                   for (int round = 0; round < 20; ++round) {
                                       mdns.publishMdnsEntry("_http._tcp", 80, {});
                                       mdns.publishMdnsEntry("_ftp._tcp", 21, {});
                                       mdns.nameChanged(QStringLiteral("studio-m"));
                                       mdns.unpublishMdnsEntry("_ftp._tcp", 21);
                                       mdns.nameChanged(QStringLiteral("studio-l"));
                                   }
                                   std::fputs("done\n", stderr);
                               }});
    EXPECT_TRUE(studio.WaitForErr(established("studio-l")));
    studio.Send(".");
    EXPECT_TRUE(studio.WaitForErr("done\n"));
    EXPECT_EQ(end(studio), 0);
}

} // namespace
