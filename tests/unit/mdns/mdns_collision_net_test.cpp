#include "two_devices.h"

#include <csignal>

namespace {

using test::LiveChild;

class MdnsCollision : public TwoDevices
{
};

// The instance is renamed; the log lines keep the first name.
TEST_F(MdnsCollision, TheInstanceIsRenamedIfAnotherProgramOnTheDeviceHasItsName)
{
    LiveChild peer = browser();
    LiveChild holder =
        s_device->Start({"avahi-publish", "--service", "studio-h", "_http._tcp", "8080"});
    EXPECT_TRUE(holder.WaitForErr("Established under name 'studio-h'\n"));
    LiveChild studio = device({publishAs("studio-h")});
    EXPECT_TRUE(peer.WaitForOut(seen("studio-h\\032\\0352")));
    EXPECT_TRUE(studio.WaitForErr(established("studio-h")));
    EXPECT_EQ(end(studio), 0);
    EXPECT_EQ(studio.Err(), named("studio-h") + renamed("studio-h #2") + established("studio-h"));
}

// The name in the log lines changes; the instance is tried again with the first name until
// that is free.
TEST_F(MdnsCollision, ANameOfAnotherDeviceIsTriedUntilItIsFree)
{
    LiveChild peer = browser();
    LiveChild holder =
        s_peer->Start({"avahi-publish", "--service", "studio-i", "_http._tcp", "8080"});
    EXPECT_TRUE(holder.WaitForErr("Established under name 'studio-i'\n"));
    LiveChild studio = device({publishAs("studio-i")});
    EXPECT_TRUE(studio.WaitForErr(renamed("studio-i #2")));
    EXPECT_TRUE(studio.WaitForErr(renamed("studio-i #3")));
    holder.Signal(SIGTERM);
    EXPECT_GE(holder.WaitForEnd(), 0);
    EXPECT_TRUE(peer.WaitForOut(seen("studio-i")));
    EXPECT_TRUE(studio.WaitForErr("' successfully established.\n"));
    EXPECT_EQ(end(studio), 0);
    std::string expected = named("studio-i");
    int number = 1;
    while (studio.Err().find(renamed("studio-i #" + std::to_string(number + 1))) !=
           std::string::npos) {
        expected += renamed("studio-i #" + std::to_string(++number));
    }
    expected += established("studio-i #" + std::to_string(number));
    EXPECT_EQ(studio.Err(), expected);
}

} // namespace
