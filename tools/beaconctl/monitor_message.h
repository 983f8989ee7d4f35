#pragma once

#include "beaconctl/monitor_packet.h"

#include <string>
#include <string_view>

// The SSDP message in a datagram, read as a daemon reads it. Pure functions.
namespace beaconctl {

// Texts are bytes from the network: show them through SafeText only. A text that the message
// does not have is empty.
struct Message
{
    std::string_view method; // "NOTIFY", "M-SEARCH", "HTTP" or "GET"
    std::string type;        // NT or ST
    std::string usn;
    std::string location;
    std::string product; // as ProductKey writes it
    std::string meaning; // the meaning of the message for a daemon, in words
};

[[nodiscard]] Message DescribeDatagram(const Datagram &datagram);

// The name of a product as the names of description documents have it: "corvia_12" for
// "Corvia 12".
[[nodiscard]] std::string ProductKey(std::string_view product);

// Whether a message is from or to an address, a dotted quad, and names a product. An empty
// text allows any.
[[nodiscard]] bool IsWanted(const Datagram &datagram, const Message &message,
                            const std::string &address, const std::string &product);

} // namespace beaconctl
