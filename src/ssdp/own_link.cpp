#include "ssdp/own_link.h"

#include "ssdp/ssdp_tunables.h"

#include <algorithm>
#include <arpa/inet.h>

namespace ssdp {

OwnLink::OwnLink() : mOffLink(kOffLinkBurstBytes, kOffLinkBytesPerSecond) {}

void OwnLink::AddInterface(const std::string &address, const std::string &name, in_addr netmask)
{
    mInterfaces.insert_or_assign(address, name);
    in_addr binary{};
    if (inet_pton(AF_INET, address.c_str(), &binary) == 1) {
        mSubnets.push_back({ntohl(binary.s_addr), ntohl(netmask.s_addr)});
    }
}

void OwnLink::ClearInterfaces()
{
    mInterfaces.clear();
    mSubnets.clear();
}

bool OwnLink::IsOwnAddress(std::string_view address) const
{
    return mInterfaces.find(address) != mInterfaces.end();
}

bool OwnLink::IsOwnAddress(const in_addr &address) const
{
    return std::any_of(mSubnets.begin(), mSubnets.end(), [&address](const Subnet &own) {
        return own.address == ntohl(address.s_addr);
    });
}

// 0.0.0.0/8, 127.0.0.0/8 and 240.0.0.0/4 are from RFC 6890; the last contains
// 255.255.255.255. A subnet of one or two addresses has no broadcast address (RFC 3021).
bool OwnLink::CanBePeer(const in_addr &address) const
{
    constexpr std::uint32_t kLoopback = 127;
    constexpr std::uint32_t kFirstMulticast = 224;
    const std::uint32_t host = ntohl(address.s_addr);
    const std::uint32_t block = host >> 24U;
    if (block == 0 || block == kLoopback || block >= kFirstMulticast) {
        return false;
    }
    return std::none_of(mSubnets.begin(), mSubnets.end(), [host](const Subnet &own) {
        return ~own.mask > 1 && host == (own.address | ~own.mask);
    });
}

bool OwnLink::IsOnLink(const in_addr &address) const
{
    const std::uint32_t host = ntohl(address.s_addr);
    return std::any_of(mSubnets.begin(), mSubnets.end(), [host](const Subnet &own) {
        return own.mask != 0 && ((own.address ^ host) & own.mask) == 0;
    });
}

bool OwnLink::CanSpendFor(const in_addr &address, std::size_t bytes) const
{
    return IsOnLink(address) || mOffLink.Has(bytes);
}

bool OwnLink::SpendFor(const in_addr &address, std::size_t bytes)
{
    return IsOnLink(address) || mOffLink.Spend(bytes);
}

} // namespace ssdp
