#include "engine_fixture.h"
#include "support/stuck_folder.h"

#include <gmock/gmock.h>

using test::kCorvia;
using test::kCorviaFile;
using test::kNet0;

namespace {

class Stuck : public test::EngineTest
{
};

} // namespace

// Close stops waiting for the SSDP thread after 4250 ms. An engine that is opened after
// that starts to work as soon as the blocked thread continues.
TEST_F(Stuck, EngineOpensAgainWhileAThreadOutlivesClose)
{
    test::StuckFolder documents("/var/www/html/");
    documents.Run([this] { ASSERT_EQ(mEngine.Open(kNet0), 1U); });
    EXPECT_EQ(mPeer.Receive(), test::Search("upnp:rootdevice"));
    ToEngine("GET /any.xml HTTP/1.1\r\n\r\n");
    documents.AwaitSomebody();
    mEngine.Close();
    EXPECT_FALSE(mEngine.IsOpen());
    Add();
    EXPECT_EQ(mEngine.Open(kNet0), 1U);
    EXPECT_TRUE(mEngine.IsOpen());
    EXPECT_EQ(Ask("gh"), "HostList"); // the other thread answers at once
    EXPECT_THAT(test::ReceivedSoFar(mPeer), testing::IsEmpty());
    documents.Answer();
    EXPECT_EQ(mPeer.Receive(), test::Alive(kCorvia, kCorviaFile));
    EXPECT_EQ(mPeer.Receive(), test::Search("upnp:rootdevice"));
    Settle();
    mEngine.Close();
    EXPECT_EQ(mPeer.ReceiveContaining("byebye"), test::Goodbye(kCorvia, kCorviaFile));
}
