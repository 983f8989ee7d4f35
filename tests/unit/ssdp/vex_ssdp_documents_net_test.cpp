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

// Requests and answers wait up to three ticks. Of this number of them, at least one is sent at
// the first tick with a probability of 1 - 10^-9.
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
        Settle(); // the engine's receive queue must not overflow
    }
};

} // namespace

// A tick takes about five seconds, so one test checks answers and requests at the same
// tick. Answers are sent in the order of their requests: an answer with the link's file
// would come first.
TEST_F(Documents, AreExchangedAtATickAndNoSymbolicLinkIsServed)
{
    OpenAnnounced();
    PeerSocket asker;
    Often([&] { asker.SendTo(Get("/link.xml"), test::kOwnAddress, 1900); });
    Often([&] { asker.SendTo(Get("/" + std::string(kCorviaFile)), test::kOwnAddress, 1900); });
    Often([&] { ToEngine(test::PeerNotify("ssdp:alive", "Lumen", test::kLumen)); });
    const std::string file = ReadFile(kCorviaPath);
    EXPECT_NE(file.find("<UDN>" + test::UsnOf(test::kCorvia) + "</UDN>"), std::string::npos);
    EXPECT_EQ(asker.Receive(), GetAnswer(file));
    EXPECT_EQ(mPeer.Receive(), test::PeerRequest(test::kLumen));
}

// Runs in a child process, since the document's number stays in use.
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
