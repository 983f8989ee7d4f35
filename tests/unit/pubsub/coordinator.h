#pragma once

#include "pubsub/vex_pubsub.h"
#include "support/application.h"
#include "support/config_service.h"
#include "support/one_processor.h"
#include "support/received_so_far.h"

#include <QSignalSpy>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace test {

constexpr const char *kUsn = "uuid:65746500-Corvia 12-192.0.2.10-0";
constexpr const char *kDocument = "/var/www/html/corvia_12_upnp_ssdp_1.xml";

// A coordinator on a device, and a peer that receives its datagrams. Tests change settings by
// calling its slot paramChanged, which is connected to ConfigMap's signal.
class Coordinator
{
public:
    // system is the first value of the system's settings, product the device's product ID.
    explicit Coordinator(const std::string &system = R"({"hostName":"alpha","ssdpEnable":true})",
                         const char *product = "corvia12")
        : mService(system, "[" + Device("Complete", true, kOwnAddress) + "]")
    {
        qputenv("PRODUCT_ID", product);
        mPeer.JoinMulticast();
        mPubSub = std::make_unique<VEXPubSub>();
        for (const char *signal :
             {SIGNAL(enableHost(bool)), SIGNAL(ipChanged()), SIGNAL(nameChanged(QString))}) {
            mSpies.push_back(std::make_unique<QSignalSpy>(mPubSub.get(), signal));
        }
    }

    // Restores the state after construction: engine closed, nothing published or queued,
    // SSDP on, host name "alpha". The peer's socket is empty.
    void Reset()
    {
        Set(ConfigMap::SsdpEnable, "", true);
        Set(ConfigMap::InterfaceSetupState, "Preparing", false);
        static_cast<void>(Received());
        static_cast<void>(Signals());
    }

    void Set(ConfigMap::ParamId id, const std::string &text, bool value)
    {
        mPubSub->paramChanged(0, id, QString::fromStdString(text), value);
    }

    // The signals since the last call, sorted by kind.
    std::vector<std::string> Signals()
    {
        std::vector<std::string> texts;
        for (const auto &spy : mSpies) {
            for (const QList<QVariant> &signal : *spy) {
                std::string text = spy->signal().left(spy->signal().indexOf('(')).toStdString();
                for (const QVariant &argument : signal) {
                    text += " " + argument.toString().toStdString();
                }
                texts.push_back(text);
            }
            spy->clear();
        }
        return texts;
    }

    // The datagrams to the peer since the last call: "alive", "byebye" or "search".
    std::vector<std::string> Received()
    {
        std::vector<std::string> kinds;
        for (const std::string &datagram : ReceivedSoFar(mPeer)) {
            kinds.push_back(Kind(datagram));
        }
        return kinds;
    }

    // The kind of the next datagram that is not a search.
    std::string NextAnnouncement()
    {
        std::string kind = Kind(mPeer.Receive());
        while (kind == "search") {
            kind = Kind(mPeer.Receive());
        }
        return kind;
    }

    // Waits until the open engine has run a whole registry pass. A request for a document
    // is sent at a tick, before that tick's pass; a second request, caused after the first
    // was sent, is sent at a later tick.
    void AwaitPass()
    {
        constexpr int kOften = 51; // enough requests for one to be sent at the next tick
        for (const std::string file : {"first.xml", "second.xml"}) {
            for (int i = 0; i < kOften; ++i) {
                mPeer.SendTo("NOTIFY * HTTP/1.1\r\nNT: x\r\nNTS: ssdp:alive\r\n"
                             "USN: uuid:65746500-Probe\r\nLOCATION: http://192.0.2.20:80/" +
                                 file + "\r\n\r\n",
                             kOwnAddress, 1900);
            }
            EXPECT_NE(mPeer.ReceiveContaining("GET http://192.0.2.20:80/" + file), "");
        }
    }

    // Whether the engine has bound its port.
    static bool IsOpen()
    {
        VEXUDPSocket probe;
        return probe.Open("", 1900) != vexbase::kSuccess;
    }

    VEXPubSub &PubSub() { return *mPubSub; }
    ConfigService &Service() { return mService; }
    PeerSocket &Peer() { return mPeer; }

private:
    static std::string Kind(const std::string &datagram)
    {
        if (datagram.find("M-SEARCH") == 0) {
            return "search";
        }
        if (datagram.find(std::string("USN: ") + kUsn + "\r\n") != std::string::npos) {
            const std::size_t start = datagram.find("NTS: ssdp:") + 10;
            return datagram.substr(start, datagram.find("\r\n", start) - start);
        }
        return datagram;
    }

    OneProcessor mOrder;
    Application mApplication;
    ConfigService mService;
    PeerSocket mPeer{1900};
    std::unique_ptr<VEXPubSub> mPubSub;
    std::vector<std::unique_ptr<QSignalSpy>> mSpies; // destroyed before the objects that they watch
};

// The tests of a suite share one coordinator, because its threads need time to end.
class CoordinatorTest : public testing::Test
{
protected:
    static void SetUpTestSuite() { device = std::make_unique<Coordinator>(); }
    static void TearDownTestSuite() { device.reset(); }

    CoordinatorTest() { device->Reset(); }

    static bool DocumentNames(const std::string &hostName)
    {
        std::ifstream file(kDocument);
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        return text.find("<friendlyName>" + hostName + "</friendlyName>") != std::string::npos;
    }

    inline static std::unique_ptr<Coordinator> device;
};

} // namespace test
