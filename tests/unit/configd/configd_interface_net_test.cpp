#include "http_client.h"
#include "service.h"

#include "support/private_namespace.h"

#include <fstream>
#include <gmock/gmock.h>
#include <sstream>

// The events for changes of the kernel's interface net0. far0 is the other end of its
// cable (a veth pair).
namespace test {
namespace {

const std::string kComplete = DeviceEvent("192.0.2.10", "Complete", true);
const std::string kUnplugged = DeviceEvent("192.0.2.10", "Preparing", false);
const std::string kTwoAddresses = DeviceEvent("192.0.2.10", "Preparing", true);
const std::string kAbsent = DeviceEvent("", "Idle", false);

class FollowedInterface : public testing::Test
{
protected:
    FollowedInterface()
    {
        OnHost("ip link del net0 2>/dev/null || true");
        OnHost(kCreate);
    }
    ~FollowedInterface() override { OnHost("ip link del net0 2>/dev/null || true"); }

    static constexpr const char *kCreate =
        "ip link add net0 type veth peer name far0 && ip link set far0 up &&"
        "ip addr add 192.0.2.10/24 dev net0 && ip link set net0 up";

    // A stream whose first event has been read.
    class Watch : public Stream
    {
    public:
        explicit Watch(const std::string &first = kComplete) : Stream("?system=beacond&params=19")
        {
            EXPECT_EQ(SkipTo(first), first);
        }
    };

    // The number of notifications that the kernel has dropped, for all sockets together.
    static int LostNotifications()
    {
        constexpr int kColumnsBeforeDrops = 8;
        std::ifstream table("/proc/self/net/netlink");
        std::string line;
        std::getline(table, line); // the heading
        int sum = 0;
        while (std::getline(table, line)) {
            std::istringstream row(line);
            std::string skipped;
            for (int i = 0; i < kColumnsBeforeDrops; ++i)
                row >> skipped;
            int drops = 0;
            row >> drops;
            sum += drops;
        }
        return sum;
    }
};

TEST_F(FollowedInterface, LosesAndRegainsTheLinkWithTheCable)
{
    Service service;
    Watch stream;
    OnHost("ip link set far0 down");
    EXPECT_EQ(stream.Next(), kUnplugged);
    OnHost("ip link set far0 up");
    EXPECT_EQ(stream.Next(), kComplete);
}

TEST_F(FollowedInterface, IsIdleWhileSwitchedOff)
{
    Service service;
    Watch stream;
    OnHost("ip link set net0 down");
    EXPECT_EQ(stream.Next(), DeviceEvent("192.0.2.10", "Idle", false));
    OnHost("ip link set net0 up");
    EXPECT_EQ(stream.SkipTo(kComplete), kComplete);
}

TEST_F(FollowedInterface, ChangesItsAddress)
{
    Service service;
    Watch stream;
    OnHost("ip addr del 192.0.2.10/24 dev net0");
    EXPECT_EQ(stream.Next(), DeviceEvent("", "Preparing", true));
    OnHost("ip addr add 192.0.2.110/24 dev net0");
    EXPECT_EQ(stream.Next(), DeviceEvent("192.0.2.110", "Complete", true));
}

TEST_F(FollowedInterface, KeepsItsFirstAddressWhenOthersAreAdded)
{
    Service service;
    Watch stream;
    OnHost("ip addr add 192.0.2.9/24 dev net0 && ip addr add 192.0.2.129/25 dev net0");
    EXPECT_EQ(stream.Next(), kTwoAddresses);
    OnHost("ip link set far0 down");
    EXPECT_EQ(stream.Next(), kUnplugged); // the second new address caused no event
}

TEST_F(FollowedInterface, IsPreparingUntilASecondAddressHasGone)
{
    Service service;
    Watch stream;
    for (const std::string address : {"192.0.2.9/24", "192.0.2.129/25", "169.254.1.2/16"}) {
        OnHost("ip addr add " + address + " dev net0");
        EXPECT_EQ(stream.Next(), kTwoAddresses);
        OnHost("ip addr del " + address + " dev net0");
        EXPECT_EQ(stream.Next(), kComplete);
    }
}

TEST_F(FollowedInterface, IsPreparingWithTwoAddressesFromTheStart)
{
    OnHost("ip addr add 192.0.2.9/24 dev net0");
    Service service;
    Watch stream(kTwoAddresses);
    OnHost("ip addr del 192.0.2.9/24 dev net0");
    EXPECT_EQ(stream.Next(), kComplete);
}

TEST_F(FollowedInterface, StaysCompleteBesideAnAlias)
{
    Service service;
    Watch stream;
    OnHost("ip addr add 192.0.2.9/24 dev net0 label net0:1");
    OnHost("ip link set far0 down");
    EXPECT_EQ(stream.Next(), kUnplugged); // the new address caused no event
}

TEST_F(FollowedInterface, UsesItsSecondAddressWhenTheFirstIsRemoved)
{
    OnHost("echo 1 >/proc/sys/net/ipv4/conf/net0/promote_secondaries");
    Service service;
    Watch stream;
    OnHost("ip addr add 192.0.2.9/24 dev net0 && ip addr del 192.0.2.10/24 dev net0");
    const std::string second = DeviceEvent("192.0.2.9", "Complete", true);
    EXPECT_EQ(stream.SkipTo(second), second);
}

TEST_F(FollowedInterface, MayBeCreatedAfterTheStart)
{
    OnHost("ip link del net0");
    Service service;
    Watch stream(kAbsent);
    OnHost(kCreate);
    EXPECT_EQ(stream.SkipTo(kComplete), kComplete);
    EXPECT_EQ(Ask("GET", "/api/v1/network/devices").body,
              kComplete.substr(16, kComplete.size() - 18));
}

TEST_F(FollowedInterface, IsFollowedWhenRecreated)
{
    Service service;
    Watch stream;
    OnHost("ip link del net0");
    EXPECT_EQ(stream.SkipTo(kAbsent), kAbsent);
    OnHost("ip link add other0 type veth peer name other1"); // net0 gets a new index
    OnHost(kCreate);
    EXPECT_EQ(stream.SkipTo(kComplete), kComplete);
    OnHost("ip link del other0");
}

TEST_F(FollowedInterface, IsIdentifiedByItsName)
{
    Service service;
    Watch stream;
    OnHost("ip link set net0 down && ip link set net0 name old0");
    EXPECT_EQ(stream.SkipTo(kAbsent), kAbsent);
    OnHost(
        "ip link add new0 type veth peer name new1 && ip link set new1 up &&"
        "ip addr add 192.0.2.99/24 dev new0 && ip link set new0 name net0 && ip link set net0 up");
    const std::string other = DeviceEvent("192.0.2.99", "Complete", true);
    EXPECT_EQ(stream.SkipTo(other), other);
    OnHost("ip link del net0");
    EXPECT_EQ(stream.SkipTo(kAbsent), kAbsent);
    OnHost("ip link set old0 name net0 && ip link set net0 up");
    EXPECT_EQ(stream.SkipTo(kComplete), kComplete);
}

// When a port leaves a bridge, the kernel sends RTM_DELLINK although the interface stays.
TEST_F(FollowedInterface, IsFollowedAfterItLeavesABridge)
{
    Service service;
    Watch stream;
    OnHost("ip link add br0 type bridge && ip link set net0 master br0 &&"
           "ip link set net0 nomaster && ip link del br0 && ip link set far0 down");
    EXPECT_EQ(stream.SkipTo(kUnplugged), kUnplugged);
    EXPECT_EQ(Ask("GET", "/api/v1/network/devices").body,
              kUnplugged.substr(16, kUnplugged.size() - 18));
}

TEST_F(FollowedInterface, IsReadCorrectlyAfterLostNotifications)
{
    Service service;
    Watch stream;
    service.Child().Signal(SIGSTOP);
    OnHost("for i in $(seq 0 799); do echo addr add 127.1.$((i / 200)).$((i % 200 + 1))/32 dev lo;"
           "done | ip -batch -");
    EXPECT_GT(LostNotifications(), 0); // the next one will be lost, too
    OnHost("ip link set far0 down");
    service.Child().Signal(SIGCONT);
    EXPECT_EQ(stream.Next(), kUnplugged);
    OnHost("ip link set far0 up");
    EXPECT_EQ(stream.Next(), kComplete);
    OnHost("ip addr flush dev lo && ip addr add 127.0.0.1/8 dev lo");
}

} // namespace
} // namespace test
