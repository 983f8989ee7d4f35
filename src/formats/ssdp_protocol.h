#pragma once

#include <cstddef>
#include <cstdint>

// Fixed texts and numbers of the protocol.
//
// Readers of this folder do not throw for any input. After a fault, a reader of one value
// returns an empty std::optional. A reader that fills arguments returns false, or the kind of
// fault, and leaves them unchanged (except the text of the fault). A reader that returns a view
// returns an empty view. The readers of max-age return 0 or "120".
namespace formats {

// UPnP Device Architecture 1.0, section 1: group and port of SSDP.
constexpr const char *kMulticastAddress = "239.255.255.250";
constexpr std::uint16_t kPort = 1900;
// The port that answers the two-byte diagnostic commands.
constexpr std::uint16_t kDiagnosticPort = 49821;

// The start of every USN and UDN of this system, and the part of it that identifies them.
// Deliberately not a canonical UUID: product, address and instance follow unchanged.
constexpr const char *kUsnPrefix = "uuid:65746500-";
constexpr const char *kVexMark = "65746500-";

constexpr const char *kRootDevice = "upnp:rootdevice";
constexpr const char *kServer = "Linux/2.6, UPnP/1.0, SSDP/1.0";

// The root folder of the web server, with the description documents. The path in a
// LOCATION is relative to this folder.
constexpr const char *kWebRoot = "/var/www/html";

// The largest datagram, in bytes, that a peer of this system reads.
constexpr std::size_t kReceiveSize = 1500;
// The largest payload, in bytes, of an IPv4 UDP datagram.
constexpr std::size_t kMaxDatagram = 65507;

// max-age, in seconds.
constexpr std::int32_t kDefaultMaxAge = 1800;    // of a NOTIFY without one
constexpr std::int32_t kLeastMaxAge = 120;       // the smallest that is used
constexpr const char *kMissingMaxAge = "120";    // of a description without one
constexpr std::int32_t kLargestMaxAge = 1073741; // twice its milliseconds fit in 31 bits

} // namespace formats
