#include "coordinator.h"
#include "support/capture.h"

using Texts = std::vector<std::string>;

namespace {

std::string BrowseList()
{
    std::ifstream file("/var/www/discovery/browse.json");
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

// The switch's goodbye needs a tick, of some five seconds.
TEST(PubSubLife, SwitchingOffSaysGoodbyeWithTheNextTick)
{
    test::Coordinator device;
    device.Set(ConfigMap::SsdpEnable, "", true);
    device.Set(ConfigMap::Connected, "", true);
    EXPECT_EQ(device.NextAnnouncement(), "alive");
    device.Set(ConfigMap::SsdpEnable, "", false);
    EXPECT_EQ(device.NextAnnouncement(), "byebye");
    EXPECT_TRUE(device.IsOpen());
}

TEST(PubSubLife, ChangeOfTheServiceGoesByTheWatcherToTheNetwork)
{
    test::Coordinator device;
    EXPECT_EQ(device.Signals(), Texts()); // the first values are no changes
    device.Service().Send(24, R"({"hostName":"beta"})");
    QSignalSpy changed(&device.PubSub(), SIGNAL(nameChanged(QString)));
    EXPECT_TRUE(changed.wait(20000));
    EXPECT_EQ(device.Signals(), Texts{"nameChanged beta"});
    EXPECT_TRUE(device.IsOpen());
}

TEST(PubSubLife, BeginsAndEndsWithItsLinesAndWithoutGoodbye)
{
    const test::OneProcessor order;
    std::unique_ptr<test::Coordinator> device;
    const test::Output begin =
        test::Capture([&device] { device = std::make_unique<test::Coordinator>(); });
    EXPECT_EQ(begin.out, "initializing pubsub object\n");
    EXPECT_EQ(begin.err, "");
    EXPECT_EQ(BrowseList(), "[]"); // the browser has begun already
    device->Set(ConfigMap::SsdpEnable, "", true);
    device->Set(ConfigMap::Connected, "", true);
    EXPECT_EQ(device->NextAnnouncement(), "alive");
    EXPECT_NE(device->Peer().ReceiveContaining("M-SEARCH"), "");
    test::PeerSocket peer(1900);
    peer.JoinMulticast();
    const test::Output end = test::Capture([&device] { device.reset(); });
    EXPECT_EQ(end.out, "ThreadLoop: Exiting...\n"
                       "SSDPThread: Exiting...\n"
                       "SSDPDiagnosticThread: Exiting...\n");
    EXPECT_EQ(end.err, "");
    EXPECT_EQ(test::HeardSoFar(peer), Texts());
}
