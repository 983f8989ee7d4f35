#include "simulation/traffic_checks.h"

#include "formats/browse_document.h"
#include "formats/ssdp_device_type.h"
#include "formats/ssdp_protocol.h"
#include "simulation/trace.h"
#include "ssdp/ssdp_tunables.h"

#include <algorithm>
#include <arpa/inet.h>
#include <utility>

namespace simulation {
namespace {

// The most services that a device announces: its own and proxied ones.
constexpr std::uint64_t kHosted = 4;
// A goodbye waits for the end of the tick, which is at most two poll intervals long.
constexpr Micros kWithdrawal = 12 * kSecond;

std::uint64_t Of(const std::array<std::uint64_t, kDatagramKinds> &counts, DatagramKind kind)
{
    return counts[static_cast<std::size_t>(kind)];
}

// Whether this is the SSDP port of one host.
bool IsPossiblePeer(const sockaddr_in &destination)
{
    constexpr std::uint32_t kLoopback = 127;
    constexpr std::uint32_t kFirstMulticast = 224;
    const std::uint32_t address = ntohl(destination.sin_addr.s_addr);
    const std::uint32_t block = address >> 24U;
    return block != 0 && block != kLoopback && block < kFirstMulticast &&
           address != (kLinkNetwork | ~kLinkMask) && destination.sin_port == htons(formats::kPort);
}

bool IsAnswer(DatagramKind kind)
{
    return kind == DatagramKind::SearchAnswer || kind == DatagramKind::Document;
}

} // namespace

void TrafficChecks::NoteStart(const Machine &machine, Micros now)
{
    Account &account = mMachines[machine.Number()];
    if (account.starts++ == 0) {
        account.startedAt = now;
    }
    account.changedAt = now;
    account.announcedAt = kNone;
    account.asked.assign(mMachines.size(), false);
}

void TrafficChecks::NoteReceived(const Machine &machine, const Datagram &datagram)
{
    ++mMachines[machine.Number()].received[static_cast<std::size_t>(datagram.kind)];
}

void TrafficChecks::NoteSent(const Machine &machine, const Datagram &datagram, std::uint32_t peer,
                             Micros at)
{
    Account &account = mMachines[machine.Number()];
    ++account.sent[static_cast<std::size_t>(datagram.kind)];
    CheckCause(machine, datagram, at);
    if (datagram.kind == DatagramKind::Request || datagram.kind == DatagramKind::Document) {
        mLastExchange = at;
        ++(datagram.kind == DatagramKind::Request ? account.requestsThisSecond
                                                  : account.documentsThisSecond);
    }
    if (datagram.kind == DatagramKind::Request && !IsPossiblePeer(datagram.destination)) {
        mViolations.Add(at, {machine.Number()},
                        MachineText(machine.Number()) + " sends a request to " +
                            TextOf(datagram.destination.sin_addr.s_addr) + ", port " +
                            std::to_string(ntohs(datagram.destination.sin_port)));
    }
    if (datagram.kind == DatagramKind::Request && peer != kNoMachine) {
        mAskedAgain += account.asked[peer] ? 1 : 0;
        account.asked[peer] = true;
    }
    if (!datagram.multicast && IsAnswer(datagram.kind) &&
        !IsOnLink(datagram.destination.sin_addr.s_addr)) {
        CheckOffLink(machine, datagram, at);
    }
}

// While a datagram is handled, only searches are answered. There are at most kHosted answers for
// each search received, one document for each request received, and one request for each
// announcement or search answer received.
void TrafficChecks::CheckCause(const Machine &machine, const Datagram &datagram, Micros at)
{
    const Account &account = mMachines[machine.Number()];
    const Datagram *handled = machine.Handled();
    const bool atOnce = handled != nullptr && (handled->kind != DatagramKind::Search ||
                                               datagram.kind != DatagramKind::SearchAnswer);
    const std::uint64_t asks = Of(account.received, DatagramKind::Request);
    const std::uint64_t reasonsToAsk = Of(account.received, DatagramKind::Alive) +
                                       Of(account.received, DatagramKind::SearchAnswer);
    const std::uint64_t searches = kHosted * Of(account.received, DatagramKind::Search);
    if (atOnce || Of(account.sent, DatagramKind::Document) > asks ||
        Of(account.sent, DatagramKind::Request) > reasonsToAsk ||
        Of(account.sent, DatagramKind::SearchAnswer) > searches) {
        mViolations.Add(at, {machine.Number()},
                        MachineText(machine.Number()) + " sends a " + NameOf(datagram.kind) +
                            " without a cause");
    }
}

void TrafficChecks::CheckOffLink(const Machine &machine, const Datagram &datagram, Micros at)
{
    Account &account = mMachines[machine.Number()];
    account.offLinkBytes += datagram.text.size();
    if (static_cast<double>(account.offLinkBytes) >
        Allowed(account, ssdp::kOffLinkBurstBytes, ssdp::kOffLinkBytesPerSecond, at)) {
        mViolations.Add(at, {machine.Number()},
                        MachineText(machine.Number()) + " has sent " +
                            std::to_string(account.offLinkBytes) + " bytes off the link");
    }
}

double TrafficChecks::Allowed(const Account &account, std::size_t burst, std::size_t bytesPerSecond,
                              Micros at)
{
    const double seconds = SecondsOf(at - account.startedAt) + 1;
    return static_cast<double>(account.starts * burst) +
           seconds * static_cast<double>(bytesPerSecond);
}

// A reply to another diagnostic port would be answered for ever.
void TrafficChecks::NoteReply(const Machine &machine, const Datagram &datagram, Micros at)
{
    Account &account = mMachines[machine.Number()];
    if (datagram.destination.sin_port == htons(formats::kDiagnosticPort)) {
        mViolations.Add(at, {machine.Number()},
                        MachineText(machine.Number()) + " replies to a diagnostic port");
    }
    account.replyBytes += datagram.text.size();
    if (static_cast<double>(account.replyBytes) >
        Allowed(account, ssdp::kDiagnosticBurstBytes, ssdp::kDiagnosticBytesPerSecond, at)) {
        mViolations.Add(at, {machine.Number()},
                        MachineText(machine.Number()) + " has sent " +
                            std::to_string(account.replyBytes) + " bytes of diagnostic replies");
    }
}

void TrafficChecks::NoteAnnounced(const Machine &machine, Micros now)
{
    mMachines[machine.Number()].announcedAt = now;
    if (HasBeenOff(machine, now)) {
        mViolations.Add(now, {machine.Number()},
                        MachineText(machine.Number()) +
                            " announces itself, although SSDP is switched off");
    }
}

bool TrafficChecks::HasBeenOff(const Machine &machine, Micros now) const
{
    const Account &account = mMachines[machine.Number()];
    return !machine.IsEnabled() && !machine.IsStalled() && now - account.changedAt > kWithdrawal;
}

void TrafficChecks::EverySecond(const std::vector<std::unique_ptr<Machine>> &machines, Micros now)
{
    for (const auto &machine : machines) {
        CheckQueues(*machine, now);
        CheckAnnounced(*machine, now);
        if (machine->IsOpen()) {
            CheckList(*machine, now);
        }
    }
}

// The whole content of a queue is sent in one tick at most, and a second contains at most one
// tick.
void TrafficChecks::CheckQueues(const Machine &machine, Micros now)
{
    Account &account = mMachines[machine.Number()];
    const std::uint64_t requests = std::exchange(account.requestsThisSecond, 0);
    const std::uint64_t documents = std::exchange(account.documentsThisSecond, 0);
    if (requests > ssdp::kMaxDelayedRequests || documents > ssdp::kMaxDelayedResponses) {
        mViolations.Add(now, {machine.Number()},
                        MachineText(machine.Number()) + " has sent " + std::to_string(requests) +
                            " requests and " + std::to_string(documents) +
                            " documents in a second: a queue was over its bound");
    }
}

void TrafficChecks::CheckAnnounced(const Machine &machine, Micros now)
{
    Account &account = mMachines[machine.Number()];
    const Micros since = std::max(account.changedAt, account.announcedAt);
    if (!machine.IsOpen() || machine.IsStalled()) {
        return;
    }
    if (mScenario.expects.announce != 0 && machine.IsEnabled() &&
        now - since > mScenario.expects.announce) {
        mViolations.Add(now, {machine.Number()},
                        MachineText(machine.Number()) + " has not announced itself for " +
                            TimeText(now - since));
        account.announcedAt = now;
    }
    // A device that can be proxied may have ended its announcements before, without a goodbye.
    if (account.announcedAt != kNone && HasBeenOff(machine, now) &&
        !formats::CanBeProxied(machine.Usn())) {
        mViolations.Add(now, {machine.Number()},
                        MachineText(machine.Number()) +
                            " has sent no goodbye, although SSDP is switched off");
        account.announcedAt = kNone;
    }
}

// Only forged devices can fill a list up to its bound in bytes. To count the bytes of every list
// would take too long.
void TrafficChecks::CheckList(const Machine &machine, Micros now)
{
    const formats::SSDPDeviceMap &list = machine.Agent().NodeList();
    std::size_t bytes = 0;
    if (list.size() > mScenario.devices) {
        for (const auto &[usn, device] : list) {
            bytes += formats::SizeOfBrowseObject(device);
        }
    }
    if (list.size() > ssdp::kMaxDiscoveredNodes + machine.Agent().HostList().size() ||
        bytes > ssdp::kMaxKnownBytes) {
        mViolations.Add(now, {machine.Number()},
                        "the list of " + MachineText(machine.Number()) + " has " +
                            std::to_string(list.size()) + " entries, " + std::to_string(bytes) +
                            " bytes: it is over its bound");
    }
}

} // namespace simulation
