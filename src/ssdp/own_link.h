#pragma once

#include "ssdp/flood_limits.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <netinet/in.h>
#include <string>
#include <string_view>
#include <vector>

namespace ssdp {

// OwnLink holds the addresses of this device and their subnets. It decides whether a
// peer is on the same link, and whether a peer can have an address at all. Answers
// that leave the link spend a budget, since the sender's address of a datagram can be
// forged. Not thread-safe; it belongs to the protocol core.
class OwnLink
{
public:
    OwnLink();

    // Address to interface name.
    using InterfaceMap = std::map<std::string, std::string, std::less<>>;

    // Adds an address of this device: a service at it is the device's own. netmask is
    // in network byte order; with 0.0.0.0 every peer counts as off the link.
    void AddInterface(const std::string &address, const std::string &name, in_addr netmask);
    void ClearInterfaces();
    [[nodiscard]] const InterfaceMap &Interfaces() const { return mInterfaces; }
    [[nodiscard]] bool IsOwnAddress(std::string_view address) const;
    [[nodiscard]] bool IsOwnAddress(const in_addr &address) const;

    // Whether a peer can have the address. Multicast, broadcast (of a subnet, too),
    // loopback, 0.0.0.0/8 and 240.0.0.0/4 are not allowed.
    [[nodiscard]] bool CanBePeer(const in_addr &address) const;

    // Refills the budget. nowMs is a reading of a millisecond clock that may wrap.
    void RefillBudget(std::uint32_t nowMs) { mOffLink.Refill(nowMs); }
    // Whether this number of bytes may be sent to the address: always on the link, off
    // the link while the budget lasts.
    [[nodiscard]] bool CanSpendFor(const in_addr &address, std::size_t bytes) const;
    // The same; if the address is off the link, also subtracts the bytes from the budget.
    [[nodiscard]] bool SpendFor(const in_addr &address, std::size_t bytes);

    // The address that counts for fairness between senders: the address of a sender on
    // the link. All others count as one (0.0.0.0), since an attacker can forge many of them.
    [[nodiscard]] in_addr_t HolderOf(const in_addr &sender) const
    {
        return IsOnLink(sender) ? sender.s_addr : 0;
    }

private:
    [[nodiscard]] bool IsOnLink(const in_addr &address) const;

    struct Subnet
    {
        std::uint32_t address{}; // host byte order
        std::uint32_t mask{};    // host byte order
    };

    InterfaceMap mInterfaces;
    std::vector<Subnet> mSubnets; // of mInterfaces, in binary: each sender is compared
    SendBudget mOffLink;
};

} // namespace ssdp
