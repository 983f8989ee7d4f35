#include "coordinator.h"
#include "unit/mdns/two_devices.h"

#include <chrono>
#include <iostream>

namespace {

class Init : public TwoDevices
{
protected:
    Init() { mPeer.JoinMulticast(); }

    // The daemon without main(), in a child process. It writes the signals of the start to
    // standard output, and reads host names from standard input.
    static int Run(const std::string &system)
    {
        test::Coordinator device(system);
        device.PubSub().init(Mdns::getInstance());
        for (const std::string &signal : device.Signals()) {
            std::cout << signal << "\n";
        }
        std::cout << std::flush;
        QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
        QObject::connect(&input, &QSocketNotifier::activated, [&device] {
            std::string name;
            if (!(std::cin >> name)) {
                QCoreApplication::quit();
            } else {
                device.Service().Send(24, R"({"hostName":")" + name + R"("})");
            }
        });
        return QCoreApplication::exec();
    }

    // The same without input: ends the connection of the switch, and writes whether there was one.
    static int Disconnect()
    {
        test::Coordinator device;
        device.PubSub().init(Mdns::getInstance());
        const bool connected = QObject::disconnect(&device.PubSub(), SIGNAL(enableHost(bool)),
                                                   Mdns::getInstance(), SLOT(enableHost(bool)));
        std::cout << (connected ? "was connected\n" : "no connection\n");
        return 0;
    }

    // The same: writes whether the start took at least half a second.
    static int MeasureInit()
    {
        test::Coordinator device;
        const auto before = std::chrono::steady_clock::now();
        device.PubSub().init(Mdns::getInstance());
        const auto passed = std::chrono::steady_clock::now() - before;
        std::cout << (passed >= std::chrono::milliseconds(500) ? "long enough\n" : "too short\n");
        return 0;
    }

    static test::LiveChild Start(const std::string &system)
    {
        return s_device->Start([system] { return Run(system); });
    }

    static std::string Announced()
    {
        test::PeerSocket asker;
        asker.SendTo("gh", test::kOwnAddress, 49821);
        return asker.Receive();
    }

    static std::string Document()
    {
        std::ifstream file(test::kDocument);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    test::PeerSocket mPeer{1900};
};

} // namespace

TEST_F(Init, PublishesBySsdpAndDnsSdAndSignalsNameAndSwitch)
{
    test::LiveChild observer = browser();
    test::LiveChild daemon = Start(R"({"hostName":"alpha","ssdpEnable":true})");
    EXPECT_TRUE(daemon.WaitForOut("enableHost true\nnameChanged alpha\n"));
    EXPECT_NE(mPeer.ReceiveContaining("NTS: ssdp:alive"), "");
    EXPECT_NE(Document().find("<friendlyName>alpha</friendlyName>"), std::string::npos);
    EXPECT_TRUE(observer.WaitForOut(seen("alpha")));
    // The name is signalled, although it was published before.
    EXPECT_TRUE(daemon.WaitForErr(named("alpha")));
    EXPECT_TRUE(daemon.WaitForErr("name changed\n"));

    daemon.Send("beta\n");
    EXPECT_TRUE(daemon.WaitForErr("name changed\n" + named("beta")));
    EXPECT_TRUE(observer.WaitForOut(seen("beta")));
    EXPECT_EQ(end(daemon), 0);
}

// The network may not be ready yet when the daemon starts.
TEST_F(Init, TakesAtLeastHalfASecond)
{
    test::LiveChild daemon = s_device->Start(MeasureInit);
    EXPECT_TRUE(daemon.WaitForOut("long enough\n"));
    EXPECT_EQ(daemon.WaitForEnd(), 0);
}

// Mdns does nothing with the switch.
TEST_F(Init, ConnectsTheSwitchToMdns)
{
    test::LiveChild daemon = s_device->Start(Disconnect);
    EXPECT_TRUE(daemon.WaitForOut("was connected\n"));
    EXPECT_EQ(daemon.WaitForEnd(), 0);
}

// Deliberate: if SSDP is off at the start, changes of name and address are still announced,
// until SSDP is switched off later.
TEST_F(Init, WithSsdpOffOpensTheEngineAndAnnouncesNothingBySsdpBeforeAChange)
{
    test::LiveChild daemon = Start(R"({"hostName":"gamma","ssdpEnable":false})");
    EXPECT_TRUE(daemon.WaitForOut("enableHost false\nnameChanged gamma\n"));
    EXPECT_NE(mPeer.ReceiveContaining("M-SEARCH"), "");
    EXPECT_EQ(Announced(), "HostList");

    daemon.Send("delta\n");
    EXPECT_TRUE(daemon.WaitForErr("name changed\n" + named("delta")));
    const std::string first = mPeer.ReceiveContaining("NOTIFY");
    EXPECT_NE(first.find("NTS: ssdp:alive"), std::string::npos) << first;
    EXPECT_NE(Document().find("<friendlyName>delta</friendlyName>"), std::string::npos);
    EXPECT_EQ(end(daemon), 0);
}
