#pragma once

#include "ssdp/send_budget.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <netinet/in.h>
#include <string>
#include <string_view>
#include <vector>

namespace ssdp {

// OwnLink knows the device's own addresses and their subnets, and so which peers
// are on the same link, and which addresses no peer can have. What leaves the link
// spends a budget, since the sender's address of a datagram can be forged. Not
// thread-safe; it belongs to the protocol core.
class OwnLink
{
public:
    OwnLink();

    // Address to interface name.
    using InterfaceMap = std::map<std::string, std::string, std::less<>>;

    // A record with one of these addresses is the device's own service. netmask
    // in network byte order; without one (0.0.0.0) every peer counts as off the link.
    void AddInterface(const std::string &address, const std::string &name, in_addr netmask);
    void ClearInterfaces();
    [[nodiscard]] const InterfaceMap &Interfaces() const { return mInterfaces; }
    [[nodiscard]] bool IsOwnAddress(std::string_view address) const;
    [[nodiscard]] bool IsOwnAddress(const in_addr &address) const;

    // Whether a peer can have the address: not so for multicast, broadcast (a
    // subnet's own, too), loopback, 0.0.0.0/8 and 240.0.0.0/4.
    [[nodiscard]] bool CanBePeer(const in_addr &address) const;

    // Whether so many bytes may be sent to the address at the time nowMs of a
    // millisecond clock that may wrap. To a peer on the link always; to any other
    // while the budget lasts. SpendFor takes them off the budget.
    [[nodiscard]] bool CanSpendFor(const in_addr &address, std::size_t bytes, std::uint32_t nowMs);
    [[nodiscard]] bool SpendFor(const in_addr &address, std::size_t bytes, std::uint32_t nowMs);

private:
    struct Subnet
    {
        std::uint32_t address = 0; // host byte order
        std::uint32_t mask = 0;
    };

    [[nodiscard]] bool IsOnLink(const in_addr &address) const;

    InterfaceMap mInterfaces;
    std::vector<Subnet> mSubnets; // of mInterfaces, to compare senders with
    SendBudget mOffLink;
};

} // namespace ssdp
