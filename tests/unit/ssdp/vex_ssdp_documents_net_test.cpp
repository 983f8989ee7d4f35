#include "engine_fixture.h"
#include "support/capture.h"
#include "support/child.h"

#include <filesystem>
#include <functional>

// Description documents between the engine's socket and the files of the web root.

using test::Get;
using test::GetAnswer;
using test::kCorviaFile;
using test::kCorviaPath;
using test::kNet0;
using test::PeerSocket;
using test::ReadFile;

namespace {

// What is exchanged waits for up to three ticks. Asked for so often, the soonest
// leaves with the first tick (but for one time in a thousand million).
constexpr int kOften = 51;

class Documents : public test::EngineTest
{
protected:
    Documents()
    {
        std::ofstream("/var/www/secret.xml") << "outside the tree";
        std::filesystem::create_symlink("/var/www/secret.xml", "/var/www/html/link.xml");
    }
    ~Documents() override
    {
        std::filesystem::remove("/var/www/html/link.xml");
        std::filesystem::remove(kCorviaPath);
    }
    Documents(const Documents &) = delete;
    Documents &operator=(const Documents &) = delete;

    void Often(const std::function<void()> &send)
    {
        for (int i = 0; i < kOften; ++i) {
            send();
        }
        Settle(); // so that the engine's receive queue never overflows
    }
};

} // namespace

// A tick takes some five seconds, so both look at the same one. Answers leave in the
// order in which they were asked for: one with the link's file would be the first.
TEST_F(Documents, AreExchangedAtATickAndNoSymbolicLinkIsServed)
{
    constexpr const char *kLumen = "http://192.0.2.20:80/lumen_upnp_ssdp_1.xml";
    OpenAnnounced();
    PeerSocket asker;
    Often([&] { asker.SendTo(Get("/link.xml"), test::kOwnAddress, 1900); });
    Often([&] { asker.SendTo(Get("/" + std::string(kCorviaFile)), test::kOwnAddress, 1900); });
    Often([&] { ToEngine(test::PeerNotify("ssdp:alive", "Lumen", kLumen)); });
    const std::string file = ReadFile(kCorviaPath);
    EXPECT_NE(file.find("<UDN>" + test::UsnOf(test::kCorvia) + "</UDN>"), std::string::npos);
    EXPECT_EQ(asker.Receive(), GetAnswer(file));
    EXPECT_EQ(mPeer.Receive(), test::PeerRequest(kLumen));
}

// In a child, since the document's number stays taken.
TEST_F(Documents, AreNotWrittenThroughASymbolicLink)
{
    std::filesystem::create_symlink("/var/www/secret.xml", kCorviaPath);
    const test::Output output = test::InChild([this] {
        Add();
        EXPECT_EQ(mEngine.Open(kNet0), 1U);
        EXPECT_EQ(mPeer.Receive(), test::Search("upnp:rootdevice"));
        EXPECT_EQ(Ask("gh"), "HostList");
        mEngine.Close();
    });
    EXPECT_EQ(output.err, "GenerateDeviceDescriptionFile: Failed to open the SSDP XML file\n"
                          "UpdateContainers: Unable to generate a description file for "
                          "uuid:65746500-Corvia 12-192.0.2.10-0, Corvia 12\n");
    EXPECT_EQ(ReadFile("/var/www/secret.xml"), "outside the tree");
}
