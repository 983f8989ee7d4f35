#pragma once

#include "formats/ssdp_protocol.h"

#include <cstddef>
#include <cstdint>

// The engine's tunables, each with its reason. Times have their unit in the name.
namespace ssdp {

// The receive loop's tick, drawn once for each run: 4250 to 5749 ms, so that
// devices that were switched on together do not send together.
constexpr std::uint32_t kPollIntervalBaseMs = 4250;
constexpr std::uint32_t kPollIntervalSpreadMs = 1500;

// An own service is announced every 15 to 24 s. The period is drawn for every
// document, so that many services do not announce in step.
constexpr std::uint32_t kAnnounceBaseSeconds = 15;
constexpr std::uint32_t kAnnounceSpreadSeconds = 10;

// A max-age below 120 s becomes 120 to 129 s: devices without a useful max-age
// do not expire in step.
constexpr std::uint32_t kLeastMaxAgeSpreadSeconds = 10;

// Description requests and answers wait up to three ticks: many devices that
// answer one announcement do not answer together.
constexpr std::uint32_t kExchangeSpreadTicks = 3;

// A silent device that can be proxied has two to five ticks to announce itself.
constexpr std::uint32_t kTakeOverBaseTicks = 2;
constexpr std::uint32_t kTakeOverSpreadTicks = 3;

// How often a silent device is announced on its behalf.
constexpr std::uint16_t kProxyRepeats = 3;

// A device may miss one of its announcements: its entry lives two periods.
constexpr std::uint32_t kPeriodsToLive = 2;
// A device that announces itself again after it was proxied has to be heard
// again within half a period: its max-age was granted by us until now.
constexpr std::uint32_t kHandBackShare = 2;

// How long Close waits for a thread, in milliseconds. Closing wakes the thread,
// so only a thread that is held up in the system takes so long.
constexpr unsigned int kStopTimeoutMs = 4250;
// Joining the group fails while the address is not settled yet.
constexpr int kMembershipTries = 5;
constexpr unsigned int kMembershipPauseMs = 500;

// Room for a burst of 2000 datagrams of full size while the thread is held up;
// the kernel counts 2304 bytes for each. The system's limit (net.core.rmem_max)
// may grant less to a process without privileges.
constexpr int kReceiveBufferBytes = 2000 * 2304;

// How much of the send buffer, in percent, requests and answers leave free for
// datagrams that are more urgent. A datagram for an unused address waits there
// for seconds: without this, anybody could keep announcements from being sent.
constexpr int kSparedByRequests = 50;
constexpr int kSparedByAnswers = 25;
// How many delayed datagrams are sent before others may take the lock.
constexpr int kSentAtOnce = 32;
// How many ticks a due datagram waits for room in the send buffer.
constexpr int kTicksToWaitForRoom = 3;

// Bounds against a hostile network, far above any real one.
constexpr std::size_t kMaxHeardNodes = 4096;
// All known devices together, counted as the browse document writes them, and with
// the texts that only the registry holds. It bounds that document, too.
constexpr std::size_t kMaxHeardBytes = 4U << 20U;
// A place in a delayed queue holds one datagram of usual size; a larger one
// takes several.
constexpr std::size_t kMaxDelayedRequests = 4096;
constexpr std::size_t kMaxDelayedResponses = 1024;
constexpr std::size_t kBytesOfPlace = formats::kReceiveSize + 100;
// Below this share, a quarter, a queue that was full counts as mostly empty. Not at
// half: a flood that goes on leaves about half of it after each tick.
constexpr std::size_t kMostlyEmptyShare = 4;

// What anybody can make the engine send: bytes at once, and bytes a second from
// then on. A sender's address can be forged, so that answers may go to somebody
// who never asked. On the own link the sender could flood by itself; answers to
// other networks are few (a person's tool), and are kept small.
constexpr std::size_t kOffLinkBurstBytes = 64U << 10U;
constexpr std::size_t kOffLinkBytesPerSecond = 16U << 10U;
// A diagnostic listing is up to 65,507 bytes for a question of two.
constexpr std::size_t kDiagnosticBurstBytes = 1U << 20U;
constexpr std::size_t kDiagnosticBytesPerSecond = 256U << 10U;

} // namespace ssdp
