#include "engine_fixture.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <memory>
#include <vector>

using test::kPeerAddress;
using test::PeerDescription;
using test::PeerNotify;
using test::PeerSocket;
using test::UsnOf;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::Not;

namespace {

// What is to be exchanged waits for up to three ticks. Asked for so often, the
// soonest leaves with the first tick (but for one time in a thousand million).
constexpr int kOften = 51;
// So many times as often, a third, 100 or so, leaves with the first tick.
constexpr int kTimesLumen = 6;

constexpr const char *kLumen = "http://192.0.2.20:80/lumen_upnp_ssdp_1.xml";
constexpr const char *kTalon = "http://192.0.2.20:80/talonmx_upnp_ssdp_2.xml";
constexpr const char *kKnown = "http://192.0.2.20:80/known.xml";
constexpr const char *kForeign = "http://192.0.2.20:80/foreign.xml";
constexpr const char *kEcho = "http://192.0.2.20:80/echo.xml";
constexpr const char *kStale = "http://192.0.2.20:80/stale.xml";

std::string Request(const std::string &url)
{
    return "GET " + url + " HTTP/1.1\r\nHOST:192.0.2.20:1900\r\n\r\n";
}

std::string SearchResponse(const std::string &product, const std::string &location)
{
    return "HTTP/1.1 200 OK\r\nCACHE-CONTROL: max-age=1800\r\nEXT:\r\nLOCATION: " + location +
           "\r\nSERVER: x\r\nST: upnp:rootdevice\r\nUSN: " + UsnOf(product, kPeerAddress) +
           "\r\n\r\n";
}

std::string Response(std::size_t size, const std::string &text)
{
    return "HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\nCONTENT-LENGTH: " + std::to_string(size) +
           "\r\nCONTENT-TYPE: text/xml; charset=\"utf-8\"\r\n" + text + "\r\n\r\n";
}

void WriteFile(const std::string &path, const std::string &text)
{
    std::ofstream(path, std::ios::binary) << text;
}

// A tick takes some five seconds. All these tests look at the same one, before
// which the peer sent whatever any of them wants to know the outcome of.
class Tick : public test::EngineOnNet0
{
public:
    Tick()
    {
        WriteFile("/var/www/html/nul.xml", std::string("be\0yond", 7));
        WriteFile("/var/www/html/large.xml", std::string(66000, 'x'));
        WriteFile("/var/www/html/other.txt", "no document");
        WriteFile("/var/www/secret.xml", "outside the tree");
        BeforeClose();
        Add("ZR2"); // its withdrawal will mark the end of the tick
        OpenTwo();
        HearDevices();
        GetFiles();
        AwaitEnd();
    }

    // What the peer got, each datagram once.
    [[nodiscard]] const std::vector<std::string> &Heard() const { return mHeard; }
    // How many requests for one document left in the tick.
    [[nodiscard]] int RequestsForLumen() const { return mRequestsForLumen; }
    // What those got who asked for files: "" for nothing.
    std::string Got(PeerSocket Tick::*asker) { return (this->*asker).Receive(0); }

    // The list of known devices after the peer has sent a datagram.
    SSDPDeviceMap KnownAfter(const std::string &datagram)
    {
        ToEngine(datagram);
        Settle();
        SSDPDeviceMap known;
        EXPECT_EQ(mEngine.WaitForChange(0, known), kVEXSuccess);
        return known;
    }

    PeerSocket mForStale;
    PeerSocket mForDocument;
    PeerSocket mForNul;
    PeerSocket mForRefused;

private:
    template <typename Send>
    void Often(Send send)
    {
        for (int i = 0; i < kOften; ++i) {
            send();
        }
        Settle(); // lest the engine's receive queue overflow
    }

    void Get(PeerSocket &asker, const std::string &target)
    {
        Often([&] {
            asker.SendTo("GET " + target + " HTTP/1.1\r\nHOST:192.0.2.10:1900\r\n\r\n",
                         test::kOwnAddress, 1900);
        });
    }

    // An earlier run of the engine, that ends with datagrams in both queues.
    void BeforeClose()
    {
        OpenAnnounced();
        Get(mForStale, "/nul.xml");
        Often([&] { ToEngine(PeerNotify("ssdp:alive", "Stale", kStale)); });
        mEngine.Close();
        EXPECT_NE(mPeer.ReceiveContaining("ssdp:byebye"), "");
    }

    void OpenTwo()
    {
        Add();
        ASSERT_EQ(mEngine.Open(test::kNet0), 1U);
        EXPECT_NE(mPeer.ReceiveContaining("M-SEARCH"), "");
    }

    void HearDevices()
    {
        for (int i = 0; i < kTimesLumen; ++i) {
            Often([&] { ToEngine(PeerNotify("ssdp:alive", "Lumen", kLumen)); });
        }
        Often([&] { ToEngine(SearchResponse("TalonMx", kTalon)); });
        ToEngine(PeerDescription("Corvia 12", "gamma"));
        Often([&] { ToEngine(PeerNotify("ssdp:alive", "Corvia 12", kKnown)); });
        Often([&] { ToEngine(SearchResponse("Corvia 12", kKnown)); });
        Often([&] {
            ToEngine("NOTIFY * HTTP/1.1\r\nNT: upnp:rootdevice\r\nNTS: ssdp:alive\r\nLOCATION: " +
                     std::string(kForeign) + "\r\nUSN: uuid:1\r\n\r\n");
        });
        Often([&] { FromOwnAddress(PeerNotify("ssdp:alive", "Lumen Plus", kEcho)); });
        Often([&] { FromOwnAddress(SearchResponse("Lumen Plus", kEcho)); });
    }

    void GetFiles()
    {
        Get(mForDocument, "http://192.0.2.10:80/" + std::string(test::kCorviaFile));
        Get(mForNul, "/nul.xml");
        for (const char *target : {"/missing.xml", "/large.xml", "/other.txt", "/../secret.xml",
                                   "/var/www/secret.xml", "nul.xml"}) {
            Get(mForRefused, target);
        }
    }

    // Queued datagrams leave before the goodbye of the pass.
    void AwaitEnd()
    {
        mEngine.RemoveService("ZR2", test::kOwnAddress);
        const std::string goodbye = test::Goodbye("ZR2", "zr2_upnp_ssdp_2.xml");
        std::string datagram = mPeer.Receive();
        while (datagram != goodbye && !datagram.empty()) {
            mRequestsForLumen += datagram == Request(kLumen) ? 1 : 0;
            if (std::find(mHeard.begin(), mHeard.end(), datagram) == mHeard.end()) {
                mHeard.push_back(datagram);
            }
            datagram = mPeer.Receive();
        }
        EXPECT_EQ(datagram, goodbye);
    }

    std::vector<std::string> mHeard;
    int mRequestsForLumen = 0;
};

class Exchange : public testing::Test
{
protected:
    static void SetUpTestSuite() { tick = std::make_unique<Tick>(); }
    static void TearDownTestSuite() { tick.reset(); }

    static std::unique_ptr<Tick> tick;
};

std::unique_ptr<Tick> Exchange::tick;

} // namespace

TEST_F(Exchange, AsksForTheDocumentOfADeviceHeardWithAlive)
{
    EXPECT_THAT(tick->Heard(), Contains(Request(kLumen)));
}

TEST_F(Exchange, AsksForTheDocumentOfADeviceThatAnsweredTheSearch)
{
    EXPECT_THAT(tick->Heard(), Contains(Request(kTalon)));
}

TEST_F(Exchange, AsksNothingOfADeviceThatIsKnown)
{
    EXPECT_THAT(tick->Heard(), Each(Not(HasSubstr(kKnown))));
}

TEST_F(Exchange, AsksNothingOfADeviceOfOthers)
{
    EXPECT_THAT(tick->Heard(), Each(Not(HasSubstr(kForeign))));
}

TEST_F(Exchange, AsksNothingForWhatCameFromItsOwnAddress)
{
    EXPECT_THAT(tick->Heard(), Each(Not(HasSubstr(kEcho))));
}

TEST_F(Exchange, ForgetsAtCloseWhatWaitsToBeSent)
{
    EXPECT_THAT(tick->Heard(), Each(Not(HasSubstr(kStale))));
    EXPECT_EQ(tick->Got(&Tick::mForStale), "");
}

TEST_F(Exchange, SendsInATickMoreThanIsSentAtOnce)
{
    EXPECT_GT(tick->RequestsForLumen(), 3 * ssdp::kSentAtOnce / 2);
}

TEST_F(Exchange, SendsNothingElseInATick)
{
    EXPECT_EQ(tick->Heard().size(), 2U);
}

TEST_F(Exchange, ServesTheDocumentThatItAnnounces)
{
    const std::string file = test::ReadFile("/var/www/html/" + std::string(test::kCorviaFile));
    EXPECT_THAT(file, HasSubstr("<UDN>" + UsnOf(test::kCorvia) + "</UDN>"));
    EXPECT_EQ(tick->Got(&Tick::mForDocument), Response(file.size(), file));
}

TEST_F(Exchange, ServesAFileUpToItsFirstNulUnderItsWholeSize)
{
    EXPECT_EQ(tick->Got(&Tick::mForNul), Response(7, "be"));
}

TEST_F(Exchange, ServesNoFileThatIsMissingTooLargeNoDocumentOrOutsideTheTree)
{
    EXPECT_EQ(tick->Got(&Tick::mForRefused), "");
}

TEST_F(Exchange, ListsTheDeviceOnceItsDescriptionIsThere)
{
    const SSDPDeviceMap known = tick->KnownAfter(PeerDescription("Lumen", "beta"));
    const SSDPDeviceType lumen = known.at(UsnOf("Lumen", kPeerAddress));
    EXPECT_EQ(lumen.productName, "Lumen");
    EXPECT_EQ(lumen.modelName, "Lumen");
    EXPECT_EQ(lumen.modelNumber, "0x10660001");
    EXPECT_EQ(lumen.modelDescription, "4K encoder");
    EXPECT_EQ(lumen.ipAddress, kPeerAddress);
    EXPECT_EQ(lumen.hostName, "beta");
    EXPECT_EQ(lumen.instance, "0");
    EXPECT_EQ(lumen.boardID, "0x10660001");
    EXPECT_EQ(lumen.usn, UsnOf("Lumen", kPeerAddress));
    EXPECT_EQ(lumen.serialNumber + lumen.location + lumen.server + lumen.notificationType, "");
}

TEST_F(Exchange, ReplacesADescriptionByALaterOne)
{
    tick->KnownAfter(PeerDescription("Lumen", "beta"));
    const SSDPDeviceMap known = tick->KnownAfter(PeerDescription("Lumen", "delta"));
    EXPECT_EQ(known.at(UsnOf("Lumen", kPeerAddress)).hostName, "delta");
}

TEST_F(Exchange, ForgetsADeviceThatSaysGoodbye)
{
    tick->KnownAfter(PeerDescription("Lumen", "beta"));
    const SSDPDeviceMap known = tick->KnownAfter(PeerNotify("ssdp:byebye", "Lumen", kLumen));
    EXPECT_EQ(known.count(UsnOf("Lumen", kPeerAddress)), 0U);
}
