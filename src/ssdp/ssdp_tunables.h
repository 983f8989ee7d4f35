#pragma once

#include "formats/ssdp_protocol.h"

#include <cstddef>
#include <cstdint>

// The engine's tunables, each with its reason. Times have their unit in the name.
namespace ssdp {

constexpr std::uint32_t kMsPerSecond = 1000;

// The interval of the receive loop, a tick, is drawn each time the engine opens: 4250 to
// 5749 ms. So devices that open in different seconds seldom have the same one.
constexpr std::uint32_t kPollIntervalBaseMs = 4250;
constexpr std::uint32_t kPollIntervalSpreadMs = 1500;

// The announcement period of a service is 15 to 24 s, drawn for every document. Otherwise
// many services would be announced at the same time. A period may be up to one tick shorter.
constexpr std::uint32_t kAnnounceBaseSeconds = 15;
constexpr std::uint32_t kAnnounceSpreadSeconds = 10;

// A max-age below 120 s, in a description or of an added service, becomes 120 to 129 s:
// such devices do not expire at the same time. In an announcement it becomes 120 s.
constexpr std::uint32_t kLeastMaxAgeSpreadSeconds = 10;

// Description requests and answers wait up to three ticks: many devices that receive one
// announcement do not send their requests together.
constexpr std::uint32_t kExchangeSpreadTicks = 3;

// A device that can be proxied has two to five ticks to announce itself after its first
// addition. Later additions take it over if it was silent.
constexpr std::uint32_t kTakeOverBaseTicks = 2;
constexpr std::uint32_t kTakeOverSpreadTicks = 3;

// How often a proxied device is announced after its first announcement.
constexpr std::uint16_t kProxyRepeats = 3;

// An entry lives for twice its max-age, in which its device announces itself ten times or more.
constexpr std::uint32_t kPeriodsToLive = 2;
// A device that announces itself while it is proxied must do so again within half of its
// max-age: its first announcement alone does not show that it will continue.
constexpr std::uint32_t kHandBackShare = 2;

// A peer whose description is older than this is asked for it again: a new name is then known
// even if the goodbye of the former one was lost. One request in four seconds for all peers
// keeps large networks quiet; 1,000 peers have had their turn after 82 minutes.
constexpr std::uint32_t kDescriptionMaxAgeSeconds = 15 * 60;
constexpr std::uint32_t kRefreshPauseMs = 4000;

// How long Close waits for a thread. Shutting the socket down wakes the thread. Only a thread
// that waits for something else, such as a file system that does not answer, takes that long.
constexpr unsigned int kStopTimeoutMs = 4250;
// Joining the group fails until the address is assigned to the interface.
constexpr int kMembershipTries = 5;
constexpr unsigned int kMembershipPauseMs = 500;

// Room for a burst of 2000 datagrams of full size while the thread is blocked. The
// kernel counts 2304 bytes for each. Without privileges, the system's limit
// (net.core.rmem_max) may grant less.
constexpr int kReceiveBufferBytes = 2000 * 2304;

// How much of the send buffer, in percent, requests and answers leave free for more
// urgent datagrams. A datagram to an unused address waits in the buffer for seconds,
// until ARP gives up. Without this share, an attacker could block the announcements.
constexpr int kSparedByRequests = 50;
constexpr int kSparedByAnswers = 25;
// How many delayed answers, and as many requests, are sent before other threads may take the
// lock.
constexpr int kSentAtOnce = 32;
// How many ticks a due datagram waits for room in the send buffer.
constexpr int kTicksToWaitForRoom = 3;

// Bounds against a hostile network, far above any real one: discovered devices, and
// bytes of all known devices. The bytes are counted as they are written to the
// browse list, plus the texts that only the registry keeps, so they bound that list, too.
constexpr std::size_t kMaxDiscoveredNodes = 4096;
constexpr std::size_t kMaxKnownBytes = 4U << 20U;
// KnownAlives keeps announcements up to this length, about one for each known device. The
// announcements of the maker's products have about 240 to 280 bytes. Those that are longer than
// this number are read each time.
constexpr std::size_t kMaxKnownAliveBytes = 512;
// Below half of both bounds, the registry counts as mostly empty after it was full.
constexpr std::size_t kMostlyEmptyRegistryShare = 2;
// A place in a delayed queue holds one datagram of usual size. A larger datagram takes
// several places.
constexpr std::size_t kMaxDelayedRequests = 4096;
constexpr std::size_t kMaxDelayedResponses = 1024;
constexpr std::size_t kBytesOfPlace = formats::kReceiveSize + 100;
// Below a quarter of its places, a queue counts as mostly empty after it was full. Not
// below half: a lasting flood leaves about half of the places in use after each
// tick.
constexpr std::size_t kMostlyEmptyQueueShare = 4;

// How much others can make the engine send: a burst, and a rate a second. The
// sender's address can be forged, and then the answers go to a victim. On this
// device's own link there is no limit: there, the sender could flood the victim
// directly. Other networks ask rarely (a person with a tool) and get little.
constexpr std::size_t kOffLinkBurstBytes = 64U << 10U;
constexpr std::size_t kOffLinkBytesPerSecond = 16U << 10U;
// Diagnostic answers have a limit on every link: a command of two bytes gets a listing of up
// to 65,507.
constexpr std::size_t kDiagnosticBurstBytes = 1U << 20U;
constexpr std::size_t kDiagnosticBytesPerSecond = 256U << 10U;
constexpr std::size_t kDiagnosticCommandBytes = 2;

} // namespace ssdp
