#include "configd/interface_state.h"

#include <arpa/inet.h>
#include <array>
#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/rtnetlink.h>

namespace configd {
namespace {

// The body of a message; null if the message is too short.
template <typename Body>
const Body *BodyOf(const nlmsghdr &message)
{
    return mnl_nlmsg_get_payload_len(&message) < sizeof(Body)
               ? nullptr
               : static_cast<const Body *>(mnl_nlmsg_get_payload(&message));
}

// The first attribute of this type; null if there is none.
template <typename Body>
const nlattr *FindAttribute(const nlmsghdr &message, unsigned int type)
{
    const char *end = reinterpret_cast<const char *>(&message) + message.nlmsg_len;
    const auto *attribute =
        static_cast<const nlattr *>(mnl_nlmsg_get_payload_offset(&message, sizeof(Body)));
    while (
        mnl_attr_ok(attribute, static_cast<int>(end - reinterpret_cast<const char *>(attribute)))) {
        if (mnl_attr_get_type(attribute) == type) {
            return attribute;
        }
        attribute = mnl_attr_next(attribute);
    }
    return nullptr;
}

// Every primary address ranks before every secondary one. Among these, a smaller scope
// number is a wider scope (rtnetlink(7)): 0 is global, 255 is nowhere.
unsigned int Rank(const ifaddrmsg &body)
{
    return ((body.ifa_flags & IFA_F_SECONDARY) != 0 ? 256U : 0U) + body.ifa_scope;
}

} // namespace

void InterfaceState::Read(const nlmsghdr &message)
{
    if (message.nlmsg_type == RTM_NEWLINK) {
        ReadLink(message);
    } else if (message.nlmsg_type == RTM_NEWADDR) {
        ReadAddress(message);
    }
}

void InterfaceState::ReadLink(const nlmsghdr &message)
{
    const auto *body = BodyOf<ifinfomsg>(message);
    if (body == nullptr) {
        return;
    }
    const nlattr *name = FindAttribute<ifinfomsg>(message, IFLA_IFNAME);
    if (name != nullptr && mnl_attr_validate(name, MNL_TYPE_NUL_STRING) == 0 &&
        mName == mnl_attr_get_str(name)) {
        mIndex = body->ifi_index;
        mFlags = body->ifi_flags;
    }
}

void InterfaceState::ReadAddress(const nlmsghdr &message)
{
    const auto *body = BodyOf<ifaddrmsg>(message);
    if (body == nullptr || mIndex == 0 || body->ifa_index != static_cast<unsigned int>(mIndex) ||
        body->ifa_family != AF_INET) {
        return;
    }
    // Not IFA_ADDRESS: on a point-to-point link it is the peer's address.
    const nlattr *local = FindAttribute<ifaddrmsg>(message, IFA_LOCAL);
    if (local == nullptr || mnl_attr_get_payload_len(local) != sizeof(in_addr)) {
        return;
    }
    if (mAddress.empty() || Rank(*body) < mRank) {
        std::array<char, INET_ADDRSTRLEN> text{};
        mAddress = inet_ntop(AF_INET, mnl_attr_get_payload(local), text.data(), text.size());
        mRank = Rank(*body);
    }
}

NetDevice InterfaceState::Device() const
{
    NetDevice device{mName, mAddress, SetupState::Idle, (mFlags & IFF_LOWER_UP) != 0};
    if ((mFlags & IFF_UP) != 0) {
        device.state =
            device.connected && !mAddress.empty() ? SetupState::Complete : SetupState::Preparing;
    }
    return device;
}

} // namespace configd
