#include "two_devices.h"

namespace {

using test::LiveChild;

class MdnsUnderChange : public TwoDevices
{
};

TEST_F(MdnsUnderChange, APeerSeesTheNewName)
{
    LiveChild peer = browser();
    LiveChild studio = device({publishAs("studio-b"), rename(QStringLiteral("studio-c")),
                               rename(QStringLiteral("studio-c"))});
    EXPECT_TRUE(peer.WaitForOut(seen("studio-b")));
    EXPECT_TRUE(studio.WaitForErr(established("studio-b")));
    studio.Send(".");
    EXPECT_TRUE(peer.WaitForOut(gone("studio-b")));
    EXPECT_TRUE(peer.WaitForOut(seen("studio-c")));
    EXPECT_TRUE(studio.WaitForErr(established("studio-c")));
    studio.Send(".");
    EXPECT_TRUE(studio.WaitForErr("name changed\n"));
    EXPECT_EQ(end(studio), 0);
    EXPECT_EQ(studio.Err(), named("studio-b") + established("studio-b") + "name changed\n" +
                                named("studio-c") + established("studio-c") + "name changed\n");
}

TEST_F(MdnsUnderChange, IpChangedPublishesAgain)
{
    LiveChild studio = device({publishAs("studio-d"), [](Mdns &mdns) { mdns.ipChanged(); }});
    EXPECT_TRUE(studio.WaitForErr(established("studio-d")));
    studio.Send(".");
    EXPECT_TRUE(studio.WaitForErr(established("studio-d")));
    LiveChild peer = browser();
    EXPECT_TRUE(peer.WaitForOut(seen("studio-d")));
    EXPECT_EQ(end(studio), 0);
    EXPECT_EQ(studio.Err(), named("studio-d") + established("studio-d") + established("studio-d"));
}

TEST_F(MdnsUnderChange, SwitchingTheHostOffLeavesTheServicesPublished)
{
    LiveChild studio = device({publishAs("studio-g"), [](Mdns &mdns) {
                                   mdns.enableHost(false);
                                   std::fputs("switched off\n", stderr);
                               }});
    EXPECT_TRUE(studio.WaitForErr(established("studio-g")));
    studio.Send(".");
    EXPECT_TRUE(studio.WaitForErr("switched off\n"));
    LiveChild peer = browser();
    EXPECT_TRUE(peer.WaitForOut(seen("studio-g")));
    EXPECT_EQ(end(studio), 0);
    EXPECT_EQ(studio.Err(), named("studio-g") + established("studio-g") + "switched off\n");
}

TEST_F(MdnsUnderChange, ANewHostNameOfAvahiDaemonPublishesTheServicesOnIt)
{
    LiveChild peer = browser();
    LiveChild studio = device({publishAs("studio-k")});
    EXPECT_TRUE(peer.WaitForOut(seen("studio-k")));
    EXPECT_TRUE(studio.WaitForErr(established("studio-k")));
    s_device->Rename("other");
    EXPECT_TRUE(studio.WaitForErr(established("studio-k")));
    EXPECT_TRUE(peer.WaitForOut(seen("studio-k", R"("path=/" "txtvers=1")", "other")));
    s_device->Rename("device");
    EXPECT_TRUE(studio.WaitForErr(established("studio-k")));
    EXPECT_TRUE(seesEventually(seen("studio-k")));
    EXPECT_EQ(end(studio), 0);
    EXPECT_EQ(studio.Err(), named("studio-k") + established("studio-k") + established("studio-k") +
                                established("studio-k"));
}

// If another machine on the network has the name, avahi-daemon chooses another one.
TEST_F(MdnsUnderChange, WhenAvahiDaemonChoosesAnotherHostNameTheServicesArePublishedOnIt)
{
    LiveChild studio = device({publishAs("studio-l")});
    EXPECT_TRUE(studio.WaitForErr(established("studio-l")));
    LiveChild rename = s_device->Start({"avahi-set-host-name", "peer"});
    EXPECT_EQ(rename.WaitForEnd(), 0);
    EXPECT_TRUE(studio.WaitForErr(established("studio-l")));
    EXPECT_TRUE(seesEventually(seen("studio-l", R"("path=/" "txtvers=1")", "peer-2")));
    s_device->Rename("device");
    EXPECT_EQ(end(studio), 0);
}

} // namespace
