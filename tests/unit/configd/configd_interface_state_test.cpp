#include "configd/interface_state.h"

#include <arpa/inet.h>
#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/rtnetlink.h>

namespace configd {
namespace {

constexpr unsigned int kUp = IFF_UP | IFF_LOWER_UP | IFF_RUNNING;

// A message as the kernel writes it.
class Message
{
public:
    Message(std::uint16_t type, const ifinfomsg &body) { Begin(type, &body, sizeof body); }
    Message(std::uint16_t type, const ifaddrmsg &body) { Begin(type, &body, sizeof body); }

    Message &Text(std::uint16_t type, const std::string &text)
    {
        mnl_attr_put_strz(Header(), type, text.c_str());
        return *this;
    }
    Message &Bytes(std::uint16_t type, const std::string &bytes)
    {
        mnl_attr_put(Header(), type, bytes.size(), bytes.data());
        return *this;
    }
    Message &Ipv4(std::uint16_t type, const std::string &text)
    {
        in_addr address{};
        inet_pton(AF_INET, text.c_str(), &address);
        mnl_attr_put(Header(), type, sizeof address, &address);
        return *this;
    }

    nlmsghdr *Header() { return reinterpret_cast<nlmsghdr *>(mBuffer.data()); }

private:
    void Begin(std::uint16_t type, const void *body, std::size_t size)
    {
        nlmsghdr *header = mnl_nlmsg_put_header(mBuffer.data());
        header->nlmsg_type = type;
        std::memcpy(mnl_nlmsg_put_extra_header(header, size), body, size);
    }

    alignas(nlmsghdr) std::array<char, 1024> mBuffer{};
};

Message Link(int index, const std::string &name, unsigned int flags)
{
    ifinfomsg body{};
    body.ifi_index = index;
    body.ifi_flags = flags;
    return Message(RTM_NEWLINK, body).Text(IFLA_IFNAME, name);
}

ifaddrmsg AddressBody(unsigned int index, unsigned char scope = RT_SCOPE_UNIVERSE,
                      unsigned char flags = IFA_F_PERMANENT)
{
    ifaddrmsg body{};
    body.ifa_family = AF_INET;
    body.ifa_prefixlen = 24;
    body.ifa_index = index;
    body.ifa_scope = scope;
    body.ifa_flags = flags;
    return body;
}

Message Address(unsigned int index, const std::string &address,
                unsigned char scope = RT_SCOPE_UNIVERSE, unsigned char flags = IFA_F_PERMANENT)
{
    return Message(RTM_NEWADDR, AddressBody(index, scope, flags)).Ipv4(IFA_LOCAL, address);
}

// The device after these messages, as JSON.
std::string Device(std::vector<Message> messages)
{
    InterfaceState state("net0");
    for (Message &message : messages) {
        state.Read(*message.Header());
    }
    return NetDevicesText({state.Device()});
}

std::string Text(const std::string &address, SetupState state, bool connected)
{
    return NetDevicesText({{"net0", address, state, connected}});
}

TEST(InterfaceState, IsIdleIfTheInterfaceDoesNotExist)
{
    EXPECT_EQ(Device({}), Text("", SetupState::Idle, false));
    EXPECT_EQ(Device({Link(1, "lo", kUp), Link(2, "net00", kUp), Link(3, "net", kUp),
                      Address(1, "127.0.0.1"), Address(2, "192.0.2.10")}),
              Text("", SetupState::Idle, false));
}

TEST(InterfaceState, IsIdleWhenSwitchedOff)
{
    EXPECT_EQ(Device({Link(2, "net0", 0)}), Text("", SetupState::Idle, false));
    // The kernel keeps the addresses of an interface that is down.
    EXPECT_EQ(Device({Link(2, "net0", IFF_BROADCAST), Address(2, "192.0.2.10")}),
              Text("192.0.2.10", SetupState::Idle, false));
}

TEST(InterfaceState, IsPreparingWithoutCarrierOrAddress)
{
    EXPECT_EQ(Device({Link(2, "net0", IFF_UP)}), Text("", SetupState::Preparing, false));
    EXPECT_EQ(Device({Link(2, "net0", kUp)}), Text("", SetupState::Preparing, true));
    EXPECT_EQ(Device({Link(2, "net0", IFF_UP), Address(2, "192.0.2.10")}),
              Text("192.0.2.10", SetupState::Preparing, false));
}

TEST(InterfaceState, IsCompleteWithCarrierAndAddress)
{
    EXPECT_EQ(Device({Link(2, "net0", kUp), Address(2, "192.0.2.10")}),
              Text("192.0.2.10", SetupState::Complete, true));
}

TEST(InterfaceState, IdentifiesTheInterfaceByName)
{
    EXPECT_EQ(
        Device({Link(1, "lo", kUp), Link(70000, "net0", kUp), Link(3, "net1", 0),
                Address(1, "127.0.0.1"), Address(3, "192.0.2.30"), Address(70000, "192.0.2.10")}),
        Text("192.0.2.10", SetupState::Complete, true));
}

TEST(InterfaceState, UsesTheFirstPrimaryAddress)
{
    EXPECT_EQ(Device({Link(2, "net0", kUp), Address(2, "192.0.2.10"), Address(2, "192.0.2.77"),
                      Address(2, "192.0.2.9", RT_SCOPE_UNIVERSE, IFA_F_SECONDARY)}),
              Text("192.0.2.10", SetupState::Preparing, true));
    EXPECT_EQ(
        Device({Link(2, "net0", kUp), Address(2, "192.0.2.9", RT_SCOPE_UNIVERSE, IFA_F_SECONDARY),
                Address(2, "192.0.2.10", RT_SCOPE_LINK)}),
        Text("192.0.2.10", SetupState::Preparing, true));
}

TEST(InterfaceState, PrefersAnAddressOfWiderScope)
{
    EXPECT_EQ(Device({Link(2, "net0", kUp), Address(2, "169.254.1.2", RT_SCOPE_LINK),
                      Address(2, "192.0.2.10"), Address(2, "192.0.2.11")}),
              Text("192.0.2.10", SetupState::Preparing, true));
}

TEST(InterfaceState, IsPreparingWithTwoAddressesOfAnyKind)
{
    const std::vector<Message> others{
        Address(2, "192.0.2.11"), Address(2, "192.0.2.9", RT_SCOPE_UNIVERSE, IFA_F_SECONDARY),
        Address(2, "169.254.1.2", RT_SCOPE_LINK), Address(2, "192.0.2.12").Text(IFA_LABEL, "net0")};
    for (const Message &other : others) {
        EXPECT_EQ(Device({Link(2, "net0", kUp), Address(2, "192.0.2.10"), other}),
                  Text("192.0.2.10", SetupState::Preparing, true));
        EXPECT_EQ(Device({Link(2, "net0", IFF_UP), Address(2, "192.0.2.10"), other}),
                  Text("192.0.2.10", SetupState::Preparing, false));
        EXPECT_EQ(Device({Link(2, "net0", 0), Address(2, "192.0.2.10"), other}),
                  Text("192.0.2.10", SetupState::Idle, false));
    }
}

TEST(InterfaceState, IsCompleteWithOneAddressOfTwoPrefixLengths)
{
    EXPECT_EQ(Device({Link(2, "net0", kUp), Address(2, "192.0.2.10"), Address(2, "192.0.2.10")}),
              Text("192.0.2.10", SetupState::Complete, true));
}

// getifaddrs reports such an address under the name "net0:1", so the discovery daemon does not
// use it.
TEST(InterfaceState, IgnoresAddressesWithAnotherLabel)
{
    Message alias = Address(2, "192.0.2.77").Text(IFA_LABEL, "net0:1");
    EXPECT_EQ(Device({Link(2, "net0", kUp), alias}), Text("", SetupState::Preparing, true));
    EXPECT_EQ(Device({Link(2, "net0", kUp), alias, Address(2, "192.0.2.10")}),
              Text("192.0.2.10", SetupState::Complete, true));
}

TEST(InterfaceState, UsesTheLocalAddressOfAPointToPointLink)
{
    Message message = Message(RTM_NEWADDR, AddressBody(2))
                          .Ipv4(IFA_ADDRESS, "192.0.2.99")
                          .Text(IFA_LABEL, "net0")
                          .Ipv4(IFA_LOCAL, "192.0.2.10");
    EXPECT_EQ(Device({Link(2, "net0", kUp), message}),
              Text("192.0.2.10", SetupState::Complete, true));
}

TEST(InterfaceState, IgnoresOtherMessages)
{
    Message gone = Link(2, "net0", 0);
    gone.Header()->nlmsg_type = RTM_DELLINK;
    Message route = Address(2, "192.0.2.99");
    route.Header()->nlmsg_type = RTM_NEWROUTE;
    EXPECT_EQ(Device({Link(2, "net0", kUp), gone, route, Address(2, "192.0.2.10")}),
              Text("192.0.2.10", SetupState::Complete, true));
}

TEST(InterfaceState, IgnoresAddressesOfOtherFamilies)
{
    ifaddrmsg ipv6 = AddressBody(2);
    ipv6.ifa_family = AF_INET6;
    EXPECT_EQ(Device({Link(2, "net0", kUp),
                      Message(RTM_NEWADDR, ipv6).Bytes(IFA_LOCAL, std::string(16, 'a')),
                      Message(RTM_NEWADDR, ipv6).Ipv4(IFA_LOCAL, "192.0.2.10")}),
              Text("", SetupState::Preparing, true));
}

TEST(InterfaceState, IgnoresAttributesOfTheWrongSize)
{
    EXPECT_EQ(
        Device({Link(2, "net0", kUp), Message(RTM_NEWADDR, AddressBody(2)).Bytes(IFA_LOCAL, "abc"),
                Message(RTM_NEWADDR, AddressBody(2)).Bytes(IFA_LOCAL, "abcde"),
                Message(RTM_NEWADDR, AddressBody(2)).Bytes(IFA_LOCAL, "")}),
        Text("", SetupState::Preparing, true));
    ifinfomsg body{};
    body.ifi_index = 2;
    body.ifi_flags = kUp;
    EXPECT_EQ(
        Device(
            {Message(RTM_NEWLINK, body).Bytes(IFLA_IFNAME, "net0"), // without the terminating zero
             Message(RTM_NEWLINK, body).Bytes(IFLA_IFNAME, ""), Message(RTM_NEWLINK, body)}),
        Text("", SetupState::Idle, false));
}

TEST(InterfaceState, IgnoresMessagesCutAtAnyByte)
{
    Message link = Link(2, "net0", kUp);
    // The last three bytes are padding.
    const std::uint32_t linkLength = link.Header()->nlmsg_len - 3;
    for (std::uint32_t length = sizeof(nlmsghdr); length < linkLength; ++length) {
        Message cut = link;
        cut.Header()->nlmsg_len = length;
        EXPECT_EQ(Device({cut}), Text("", SetupState::Idle, false)) << length;
    }
    Message address = Address(2, "192.0.2.10");
    const std::uint32_t addressLength = address.Header()->nlmsg_len;
    for (std::uint32_t length = sizeof(nlmsghdr); length < addressLength; ++length) {
        Message cut = address;
        cut.Header()->nlmsg_len = length;
        EXPECT_EQ(Device({link, cut}), Text("", SetupState::Preparing, true)) << length;
    }
}

TEST(InterfaceState, IgnoresAttributesWithAWrongLength)
{
    Message address = Address(2, "192.0.2.10");
    auto *attribute =
        static_cast<nlattr *>(mnl_nlmsg_get_payload_offset(address.Header(), sizeof(ifaddrmsg)));
    for (const int length : {0, 1, 3, 9, 65535}) {
        attribute->nla_len = static_cast<std::uint16_t>(length);
        EXPECT_EQ(Device({Link(2, "net0", kUp), address}), Text("", SetupState::Preparing, true))
            << length;
    }
}

} // namespace
} // namespace configd
