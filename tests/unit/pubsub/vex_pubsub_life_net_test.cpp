#include "coordinator.h"
#include "mdns/mdns.h"
#include "refused_addresses.h"
#include "support/capture.h"

#include <chrono>
#include <thread>
#include <unistd.h>

using Texts = std::vector<std::string>;

namespace {

// Waits until the browser's thread has written an empty list. Returns false after one minute.
bool AwaitEmptyBrowseList()
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    std::string text;
    while (text != "[]" && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
        std::ifstream file("/var/www/discovery/browse.json");
        text.assign(std::istreambuf_iterator<char>(file), {});
    }
    return text == "[]";
}

} // namespace

// The goodbye is sent at the next tick, within six seconds.
TEST(PubSubLife, SwitchingOffSendsTheGoodbyeAtTheNextTick)
{
    test::Coordinator device;
    device.Set(ConfigMap::SsdpEnable, "", true);
    device.Set(ConfigMap::Connected, "", true);
    EXPECT_EQ(device.NextAnnouncement(), "alive");
    device.Set(ConfigMap::SsdpEnable, "", false);
    EXPECT_EQ(device.NextAnnouncement(), "byebye");
    EXPECT_TRUE(device.IsOpen());
}

TEST(PubSubLife, AChangeOfTheConfigurationIsSignalledAndOpensTheEngine)
{
    test::Coordinator device;
    EXPECT_EQ(device.Signals(), Texts()); // the first values are not changes
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
    EXPECT_TRUE(AwaitEmptyBrowseList());
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
    EXPECT_EQ(test::ReceivedSoFar(peer), Texts());
}

TEST(PubSubLeaving, SendsTheGoodbyeEndsTheThreadsAndRemovesTheList)
{
    test::Coordinator device;
    device.Set(ConfigMap::SsdpEnable, "", true);
    device.Set(ConfigMap::Connected, "", true);
    ASSERT_EQ(device.NextAnnouncement(), "alive");
    ASSERT_NE(device.Peer().ReceiveContaining("M-SEARCH"), "");
    const test::Output output = test::Capture([&device] { device.PubSub().leave(); });
    EXPECT_EQ(device.Received(), Texts{"byebye"});
    EXPECT_FALSE(device.IsOpen());
    EXPECT_EQ(output.out, "SSDPThread: Exiting...\n"
                          "SSDPDiagnosticThread: Exiting...\n"
                          "ThreadLoop: Exiting...\n");
    EXPECT_EQ(output.err, "");
    EXPECT_EQ(access("/var/www/discovery/browse.json", F_OK), -1);
}

TEST(PubSubLeaving, IsFinal)
{
    test::Coordinator device;
    device.PubSub().leave();
    for (const auto parameter : {ConfigMap::Address, ConfigMap::HostName, ConfigMap::Connected}) {
        device.Set(parameter, "beta", true);
        EXPECT_FALSE(device.IsOpen()) << parameter;
    }
    device.Set(ConfigMap::InterfaceSetupState, "Complete", false);
    EXPECT_FALSE(device.IsOpen());
    EXPECT_EQ(device.Received(), Texts());
    EXPECT_EQ(test::Capture([&device] { device.PubSub().leave(); }).err, "");
}

TEST(PubSubLeaving, BeforeTheFirstPublicationPreventsIt)
{
    test::Coordinator device;
    device.PubSub().leave();
    const test::Output output =
        test::Capture([&device] { device.PubSub().init(Mdns::getInstance()); });
    EXPECT_EQ(output.out + output.err, "");
    EXPECT_EQ(device.Signals(), Texts());
    EXPECT_EQ(device.Received(), Texts());
    EXPECT_EQ(access("/var/www/discovery/browse.json", F_OK), -1);
}

// collectIPAddresses waits while the system does not report its addresses.
TEST(PubSubLeaving, EndsTheWaitForAnAddress)
{
    test::Coordinator device;
    constexpr int kOften = 1000000;
    test::gRefusals = kOften;
    std::thread leaving([&device] {
        while (test::gRefusals == kOften) {
            std::this_thread::yield();
        }
        device.PubSub().leave();
    });
    std::map<std::string, std::string> addresses;
    device.PubSub().collectIPAddresses(addresses);
    leaving.join();
    test::gRefusals = 0;
    EXPECT_EQ(addresses, (std::map<std::string, std::string>()));
}
