#include "beaconctl/host_address.h"

#include "beaconctl/sources.h"
#include "beaconctl/terminal_text.h"
#include "vexbase/vex_text.h"

#include <algorithm>
#include <arpa/inet.h>
#include <memory>
#include <netdb.h>

namespace beaconctl {
namespace {

// A daemon on this device answers at once. On a machine without a daemon, a longer wait would
// only delay the search for the name.
constexpr std::chrono::milliseconds kLongestWait{2000};

// The nodes of this device; none if it does not answer.
Entries ListedHere(std::chrono::milliseconds timeout)
{
    Arguments here;
    here.timeout = std::min(timeout, kLongestWait);
    Listing listing;
    std::string error;
    return AskListing(here, formats::kNodeListing, listing, error) ? listing.entries : Entries();
}

// The address of a host name; empty if there is none.
std::string Resolve(const std::string &name)
{
    in_addr shortened{};
    if (inet_aton(name.c_str(), &shortened) != 0) {
        return {}; // "192.0.2" would be resolved to 192.0.0.2
    }
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_DGRAM;
    addrinfo *found = nullptr;
    if (getaddrinfo(name.c_str(), nullptr, &wanted, &found) != 0) {
        return {};
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo *)> owner(found, freeaddrinfo);
    return AddressText(reinterpret_cast<const sockaddr_in *>(found->ai_addr)->sin_addr);
}

} // namespace

std::vector<std::string> AddressesOf(const std::string &name, const Entries &entries)
{
    std::vector<std::string> addresses;
    for (const Entry &entry : entries) {
        if ((entry.hostName == name || SafeText(entry.hostName) == name) &&
            ParseAddress(entry.address, 0) &&
            std::find(addresses.begin(), addresses.end(), entry.address) == addresses.end()) {
            addresses.push_back(entry.address);
        }
    }
    return addresses;
}

bool FindHost(Arguments &arguments, std::string &error)
{
    const std::string name = arguments.host;
    if (name.empty() || ParseAddress(name, 0)) {
        return true;
    }
    Entries entries = ListedHere(arguments.timeout);
    std::sort(entries.begin(), entries.end());
    const std::vector<std::string> addresses = AddressesOf(name, entries);
    if (addresses.size() > 1) {
        error = vexbase::Concat({"several devices are named \"", SafeText(name), "\", such as ",
                                 addresses[0], " and ", addresses[1], ": give an address"});
        return false;
    }
    arguments.host = addresses.empty() ? Resolve(name) : addresses[0];
    if (arguments.host.empty()) {
        error = vexbase::Concat({"no listed device and no host is named \"", SafeText(name), "\""});
    }
    return !arguments.host.empty();
}

} // namespace beaconctl
