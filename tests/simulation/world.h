#pragma once

#include "simulation/chance.h"
#include "simulation/datagram.h"
#include "simulation/event_queue.h"
#include "simulation/figures.h"
#include "simulation/link.h"
#include "simulation/list_checks.h"
#include "simulation/machine.h"
#include "simulation/scenario.h"
#include "simulation/stranger.h"
#include "simulation/trace.h"
#include "simulation/traffic_checks.h"
#include "simulation/violation.h"

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace simulation {

// World plays one scenario with one seed, in virtual time, on one thread. Equal scenarios, seeds
// and variations give equal runs on every computer.
class World final : private Surroundings
{
public:
    // REQUIRES: the scenario outlives the world.
    World(const Scenario &scenario, std::uint64_t seed, const Variation &variation);

    // Keeps the events of these machines for a report, until a time. Called before Run.
    void Watch(const std::set<std::uint32_t> &machines, Micros until)
    {
        mTrace.Watch(machines, until);
    }
    void Run();

    [[nodiscard]] const Trace &Events() const { return mTrace; }
    [[nodiscard]] const Violations &BrokenRules() const { return mViolations; }
    [[nodiscard]] const Figures &Result() const { return mFigures; }

private:
    // The part of an act that changes one machine.
    enum class Step : std::uint32_t {
        PowerOn,
        Kill,
        Rename,
        Move,
        SwitchOff,
        SwitchOn,
        LoseLink,
        RegainLink,
        CompleteSetup,
        Split,
        Heal,
        Stall,
        Resume,
        AddOther,
        PowerOnPublished,
    };
    // An active stranger.
    struct Playing
    {
        const Behaviour *behaviour = nullptr;
        Micros until = 0;
        std::uint32_t turn = 0;
    };

    // world.cpp
    void MakeMachines(const Variation &variation);
    void Dispatch(const Event &event);
    bool Send(Machine &machine, bool multicast, const sockaddr_in &destination,
              std::string_view text, Micros at, int sparedPercent) override;
    void Reply(const Machine &machine, const sockaddr_in &destination, std::string_view text,
               Micros at) override;
    void WakeAt(const Machine &machine, Micros at, std::uint32_t run) override;
    void HandleBatchAt(const Machine &machine, Micros at, std::uint32_t run) override;
    [[nodiscard]] Micros FreeProcessorAt(Micros now) const override;
    void UseProcessor(Micros until) override;
    void NoteSent(const Machine &machine, const Datagram &datagram, Micros at);
    std::uint32_t PutInFlight(const DatagramPointer &datagram);
    void DeliverToAll(std::uint32_t place);
    void Deliver(Machine &machine, const DatagramPointer &datagram);
    [[nodiscard]] bool AreApart(const Datagram &datagram, const Machine &receiver) const;
    void EndSecond();
    void EndScenario();

    // world_acts.cpp
    void Begin(const Act &act);
    void BeginForMachines(const Act &act);
    void BeginPlay(const Act &act);
    void BeginChanges(const Act &act);
    void BeginChange(std::uint32_t machine, Micros at);
    void Take(Step step, std::uint32_t number);
    void PowerOn(Machine &machine, Machine::Publication publication);
    void ChangeMachine(Step step, Machine &machine);
    void AddOther(Machine &machine);
    void Settle(std::uint32_t number);
    void PlayTurn(std::uint32_t number);
    [[nodiscard]] std::vector<std::uint32_t> Chosen(const Choice &choice, Verb verb);
    void StepAt(Micros at, Step step, std::uint32_t machine);

    const Scenario &mScenario;
    Chance mChance;
    Link mLink;
    EventQueue mQueue;
    Micros mNow = 0;
    std::vector<std::unique_ptr<Machine>> mMachines;
    // The times until which the common processors are used; empty if each machine has its own.
    std::vector<Micros> mProcessors;
    std::unordered_map<in_addr_t, std::uint32_t> mByAddress;
    std::vector<bool> mSplit;          // by machine: whether it is on the other side of a split
    std::vector<Micros> mHeldUpUntil;  // by machine: the end of its last change
    std::vector<std::uint32_t> mOther; // by machine: the device that it adds; 0: a silent ZR1
    std::set<std::uint32_t> mKilled;
    std::uint32_t mMoves = 0;
    std::vector<Playing> mStrangers;
    std::vector<DatagramPointer> mInFlight; // datagrams on the link, by index
    std::vector<std::uint32_t> mFreePlaces;
    Trace mTrace;
    Violations mViolations;
    std::unique_ptr<ListChecks> mLists;
    TrafficChecks mTraffic;
    Figures mFigures;
    SecondFigures mSecond;
    Micros mBusyBefore = 0;
    Micros mProcessorBefore = 0;
    std::int64_t mMemory = 0; // the memory in use at the time that the scenario's rule names
};

} // namespace simulation
