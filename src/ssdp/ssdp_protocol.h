#pragma once

#include <cstddef>
#include <cstdint>

// Fixed texts and tunables of the SSDP engine, each with its reason.
namespace ssdp {

// UPnP Device Architecture 1.0, section 1: group and port of SSDP.
constexpr const char *kMulticastAddress = "239.255.255.250";
constexpr std::uint16_t kPort = 1900;
// Where the two-byte diagnostic commands are answered.
constexpr std::uint16_t kDiagnosticPort = 49821;

// What marks a USN or UDN of this system. Deliberately no canonical UUID:
// product, address and instance follow as they stand.
constexpr const char *kUsnPrefix = "uuid:65746500-";
constexpr const char *kVexMark = "65746500-";

constexpr const char *kRootDevice = "upnp:rootdevice";
constexpr const char *kServer = "Linux/2.6, UPnP/1.0, SSDP/1.0";

// The web server's tree, from which description documents are served. A
// request's path is taken relative to it.
constexpr const char *kWebRoot = "/var/www/html";

// The receive loop's tick, drawn once for each run: from 4250 ms, up to 1499 ms
// more, so that devices switched on together do not speak together.
constexpr std::uint32_t kPollIntervalBase = 4250;
constexpr std::uint32_t kPollIntervalSpread = 1500;
// How long Close waits for a thread. Never used up: closing wakes them.
constexpr unsigned int kStopTimeout = 4250;
// Joining the group fails while the address is not settled yet.
constexpr int kMembershipTries = 5;
constexpr unsigned int kMembershipPauseMs = 500;

// The largest datagram a peer of this system reads. The buffer has one byte
// more for the NUL behind it.
constexpr std::size_t kReceiveSize = 1500;
// Room for a burst of 2000 such datagrams while the thread is held up; the
// kernel counts 2304 bytes for each. The system's limit (net.core.rmem_max) may
// grant less to a process without privileges.
constexpr int kReceiveBuffer = 2000 * 2304;
// How much of the send buffer, in percent, requests and answers leave to what is
// more urgent. Datagrams for addresses that nobody has wait there for seconds:
// anybody could have them sent until no announcement found room any more.
constexpr int kSparedByRequests = 50;
constexpr int kSparedByAnswers = 25;
// How many delayed datagrams are sent without letting others to the lock.
constexpr int kSentAtOnce = 32;
// The largest payload that an IPv4 UDP datagram carries.
constexpr std::size_t kMaxDatagram = 65507;

// max-age, in seconds: the default of a NOTIFY without one; the least that is
// honoured, with a spread against devices that expire in step; the default of a
// text without one; the largest whose doubled milliseconds fit 31 bits.
constexpr std::int32_t kDefaultMaxAge = 1800;
constexpr std::int32_t kLeastMaxAge = 120;
constexpr long kLeastMaxAgeSpread = 10;
constexpr const char *kMissingMaxAge = "120";
constexpr std::int32_t kLargestMaxAge = 1073741;

// The own announcement is repeated every 15 to 24 s, drawn afresh for every
// document so that many services do not announce in step.
constexpr std::uint32_t kAnnounceBaseSeconds = 15;
constexpr long kAnnounceSpreadSeconds = 10;

// How often a silent device is announced on its behalf.
constexpr std::uint16_t kProxyRepeats = 3;

// Bounds against a hostile network, far above any real one.
constexpr std::size_t kMaxHeardNodes = 4096;
// The texts of all known devices together, so that descriptions whose values hold
// one another cannot multiply their datagrams into the daemon's memory, where the
// list writer holds them again and again: twice what as many devices with host
// names of 63 letters need.
constexpr std::size_t kMaxHeardBytes = kMaxHeardNodes * 512;
constexpr std::size_t kMaxDelayedRequests = 4096;
constexpr std::size_t kMaxDelayedResponses = 1024;
// All delayed responses together, so that a large file in the web root cannot
// be multiplied into the daemon's memory: as if each filled a receive buffer.
constexpr std::size_t kMaxDelayedResponseBytes = kMaxDelayedResponses * kReceiveSize;
// All delayed requests together; a request holds the LOCATION of one datagram.
constexpr std::size_t kMaxDelayedRequestBytes = kMaxDelayedRequests * (kReceiveSize + 100);

} // namespace ssdp
