#pragma once

#include "simulation/machine.h"
#include "simulation/scenario.h"
#include "simulation/violation.h"
#include "simulation/virtual_time.h"

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

namespace simulation {

// TrafficChecks checks the datagrams that each machine sends: received datagrams must have
// caused its answers, requests and documents; answers must stay within their budgets; and the
// device's service must be announced in time while SSDP is switched on, and not when it is off. It
// also checks the bounds of queues and lists.
class TrafficChecks
{
public:
    // REQUIRES: both arguments outlive this object.
    TrafficChecks(const Scenario &scenario, Violations &violations)
        : mScenario(scenario), mViolations(violations), mMachines(scenario.devices)
    {
    }

    // The engine starts or opens again. From now on, a full burst of each budget is allowed.
    void NoteStart(const Machine &machine, Micros now);
    void NoteReceived(const Machine &machine, const Datagram &datagram);
    // peer is the number of the receiving machine; kNoMachine for several machines or none.
    void NoteSent(const Machine &machine, const Datagram &datagram, std::uint32_t peer, Micros at);
    // A reply leaves the diagnostic port.
    void NoteReply(const Machine &machine, const Datagram &datagram, Micros at);
    // SSDP is switched on or off: the device must announce its service in time, or withdraw it.
    void NoteSwitched(const Machine &machine, Micros now)
    {
        mMachines[machine.Number()].changedAt = now;
    }
    // The device has announced its service, or has withdrawn it.
    void NoteAnnounced(const Machine &machine, Micros now);
    void NoteWithdrawn(const Machine &machine) { mMachines[machine.Number()].announcedAt = kNone; }
    // A machine's thread goes on after a stall.
    void NoteResumed(const Machine &machine, Micros now)
    {
        mMachines[machine.Number()].changedAt = now;
    }

    void EverySecond(const std::vector<std::unique_ptr<Machine>> &machines, Micros now);

    // The time of the last request or document.
    [[nodiscard]] Micros LastExchange() const { return mLastExchange; }
    // The number of repeated requests: the machine had requested this document before.
    [[nodiscard]] std::uint64_t AskedAgain() const { return mAskedAgain; }

private:
    static constexpr Micros kNone = -1;

    struct Account
    {
        std::array<std::uint64_t, kDatagramKinds> received{};
        std::array<std::uint64_t, kDatagramKinds> sent{};
        std::uint64_t offLinkBytes = 0;
        std::uint64_t replyBytes = 0;
        std::uint64_t starts = 0;
        Micros startedAt = 0;
        std::uint64_t requestsThisSecond = 0;
        std::uint64_t documentsThisSecond = 0;
        Micros changedAt = 0; // the last start, switch, or end of a stall
        Micros announcedAt = kNone;
        std::vector<bool> asked; // by machine: whether its document was requested before
    };

    void CheckCause(const Machine &machine, const Datagram &datagram, Micros at);
    void CheckOffLink(const Machine &machine, const Datagram &datagram, Micros at);
    void CheckQueues(const Machine &machine, Micros now);
    void CheckAnnounced(const Machine &machine, Micros now);
    // Whether SSDP has been off for long enough to send a goodbye.
    [[nodiscard]] bool HasBeenOff(const Machine &machine, Micros now) const;
    void CheckList(const Machine &machine, Micros now);
    // The bytes that a budget allows until a time, if it is full at each start.
    [[nodiscard]] static double Allowed(const Account &account, std::size_t burst,
                                        std::size_t bytesPerSecond, Micros at);

    const Scenario &mScenario;
    Violations &mViolations;
    std::vector<Account> mMachines;
    Micros mLastExchange = 0;
    std::uint64_t mAskedAgain = 0;
};

} // namespace simulation
