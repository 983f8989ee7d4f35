#pragma once

#include "configd/net_device.h"

#include <linux/netlink.h>

namespace configd {

// Boils the kernel's answers (RTM_NEWLINK and RTM_NEWADDR of rtnetlink) down to
// what clients are told of one interface:
//  - address: its first primary IPv4 address, one of wider scope before one that
//    counts on the link only;
//  - connected: there is a carrier;
//  - state: Idle when there is no such interface or it is switched off, Complete
//    with carrier and exactly one address, Preparing otherwise. The discovery daemon
//    runs on exactly one address, and opens its engine at "Complete". Failed is
//    for devices whose set-up is done by somebody who can tell that it failed.
// Goes by the name, since an interface made anew has another index. Pure.
class InterfaceState
{
public:
    explicit InterfaceState(std::string name) : mName(std::move(name)) {}

    // Takes one message; others than those two, and malformed ones, are passed
    // over. REQUIRES: all links come before the first address.
    void Read(const nlmsghdr &message);

    [[nodiscard]] NetDevice Device() const;

private:
    void ReadLink(const nlmsghdr &message);
    void ReadAddress(const nlmsghdr &message);
    void Enter(const std::string &address, unsigned int rank);

    const std::string mName;
    int mIndex = 0; // 0: no such interface
    unsigned int mFlags = 0;
    std::string mAddress;
    unsigned int mRank = 0; // of mAddress; the lowest wins
    bool mHasSeveral = false;
};

} // namespace configd
