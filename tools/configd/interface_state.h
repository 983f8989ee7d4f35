#pragma once

#include "configd/net_device.h"

#include <linux/netlink.h>

namespace configd {

// InterfaceState derives the state of one interface from the kernel's messages
// (RTM_NEWLINK and RTM_NEWADDR of rtnetlink):
//  - address: the first primary IPv4 address of the widest scope (global before
//    link-local);
//  - connected: the interface has a carrier;
//  - state: Idle if the interface does not exist or is switched off, Complete if it has
//    a carrier and exactly one address, Preparing otherwise. The discovery daemon uses
//    exactly one address, and opens its engine at "Complete". Failed is never reported
//    here: the kernel does not report failed setups.
// Identifies the interface by name, because a recreated interface gets a new index.
// Knows no socket. Owned by one thread.
class InterfaceState
{
public:
    explicit InterfaceState(std::string name) : mName(std::move(name)) {}

    // Reads one message. Ignores messages of other types and malformed ones.
    // REQUIRES: all links come before the first address.
    void Read(const nlmsghdr &message);

    [[nodiscard]] NetDevice Device() const;

private:
    void ReadLink(const nlmsghdr &message);
    void ReadAddress(const nlmsghdr &message);
    void Enter(const std::string &address, unsigned int rank);

    const std::string mName;
    int mIndex = 0; // 0 if there is no such interface
    unsigned int mFlags = 0;
    std::string mAddress;
    unsigned int mRank = 0; // of mAddress; the address of the lowest rank is used
    bool mHasSeveral = false;
};

} // namespace configd
