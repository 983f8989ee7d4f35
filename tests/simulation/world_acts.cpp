#include "simulation/world.h"

#include "formats/ssdp_device_type.h"
#include "formats/ssdp_protocol.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstddef>

// The actions of a scenario.

namespace simulation {

void World::StepAt(Micros at, Step step, std::uint32_t machine)
{
    mQueue.Add(at, EventKind::Step, machine, static_cast<std::uint32_t>(step));
}

void World::Begin(const Act &act)
{
    if (act.verb == Verb::Play) {
        BeginPlay(act);
    } else if (act.verb == Verb::Change) {
        BeginChanges(act);
    } else {
        BeginForMachines(act);
    }
}

// The machines that a line names: to start, only those that are off; for any other action, only
// those that are on.
std::vector<std::uint32_t> World::Chosen(const Choice &choice, Verb verb)
{
    std::vector<std::uint32_t> chosen;
    for (std::uint32_t number = 0; number < mMachines.size(); ++number) {
        const bool named = choice.kind == Choice::Kind::All ||
                           (choice.kind == Choice::Kind::Killed && mKilled.count(number) != 0) ||
                           (choice.kind == Choice::Kind::Range && number + 1 >= choice.first &&
                            number < choice.last) ||
                           choice.kind == Choice::Kind::Some;
        if (named &&
            mMachines[number]->IsOn() != (verb == Verb::Start || verb == Verb::StartPublished)) {
            chosen.push_back(number);
        }
    }
    if (choice.kind == Choice::Kind::Some) {
        while (chosen.size() > choice.first) {
            const auto size = static_cast<std::int64_t>(chosen.size());
            chosen.erase(chosen.begin() + static_cast<std::ptrdiff_t>(mChance.Below(size)));
        }
    }
    return chosen;
}

void World::BeginForMachines(const Act &act)
{
    static constexpr std::array<std::pair<Verb, Step>, 11> kSteps{
        {{Verb::Start, Step::PowerOn},
         {Verb::StartPublished, Step::PowerOnPublished},
         {Verb::Kill, Step::Kill},
         {Verb::Rename, Step::Rename},
         {Verb::Move, Step::Move},
         {Verb::SwitchOff, Step::SwitchOff},
         {Verb::SwitchOn, Step::SwitchOn},
         {Verb::LoseLink, Step::LoseLink},
         {Verb::Split, Step::Split},
         {Verb::Stall, Step::Stall},
         {Verb::AddOther, Step::AddOther}}};
    const auto first = std::find_if(kSteps.begin(), kSteps.end(),
                                    [&](const auto &each) { return each.first == act.verb; });
    for (const std::uint32_t number : Chosen(act.machines, act.verb)) {
        mHeldUpUntil[number] = mNow + act.length;
        if (act.verb == Verb::AddOther) {
            mOther[number] = act.count;
        }
        if (act.verb == Verb::Start) {
            StepAt(mNow + mChance.Below(act.length), Step::PowerOn, number);
            continue;
        }
        Take(first->second, number);
        if (act.verb == Verb::LoseLink) {
            StepAt(mNow + act.length, Step::RegainLink, number);
            StepAt(mNow + act.length + kSecond, Step::CompleteSetup, number);
        } else if (act.verb == Verb::Split) {
            StepAt(mNow + act.length, Step::Heal, number);
        } else if (act.verb == Verb::Stall) {
            StepAt(mNow + act.length, Step::Resume, number);
        }
    }
}

void World::BeginPlay(const Act &act)
{
    const Behaviour *behaviour = FindBehaviour(act.attack);
    mStrangers.push_back({behaviour, mNow + act.length, 0});
    if ((behaviour->effects & kForgesGoodbyes) != 0) {
        mLists->IgnoreOwn();
    }
    if ((behaviour->effects & kForgesDevices) != 0) {
        mLists->AcceptForged(mNow + act.length + ListChecks::kDocumentLives);
    }
    if ((behaviour->effects & kForgesLastingDevices) != 0) {
        mLists->AcceptForged(ListChecks::kAlways);
    }
    mQueue.Add(mNow, EventKind::Attack, kNoMachine,
               static_cast<std::uint32_t>(mStrangers.size() - 1));
}

void World::PlayTurn(std::uint32_t number)
{
    Playing &playing = mStrangers[number];
    if ((playing.behaviour->effects & kSpoilsLists) != 0) {
        mLists->SettleAll(mNow + playing.behaviour->pause);
    }
    if (mNow >= playing.until) {
        return;
    }
    std::vector<Machine *> machines;
    for (const auto &machine : mMachines) {
        if (machine->IsOpen()) {
            machines.push_back(machine.get());
        }
    }
    Victims victims{machines, mChance};
    if (!machines.empty()) {
        for (const DatagramPointer &datagram : playing.behaviour->play(victims, playing.turn)) {
            mTrace.Note(mNow, "is sent", kNoMachine, *datagram, kNoMachine);
            const auto receiver = mByAddress.find(datagram->destination.sin_addr.s_addr);
            if (datagram->multicast) {
                mQueue.Add(mNow + kMillisecond, EventKind::Multicast, kNoMachine,
                           PutInFlight(datagram));
            } else if (receiver != mByAddress.end()) {
                mQueue.Add(mNow + kMillisecond, EventKind::Arrival, receiver->second,
                           PutInFlight(datagram));
            }
        }
    }
    ++playing.turn;
    mQueue.Add(mNow + playing.behaviour->pause, EventKind::Attack, kNoMachine, number);
}

// Random changes. A machine has at most one at a time.
void World::BeginChanges(const Act &act)
{
    for (std::uint32_t left = act.count; left > 0; --left) {
        const auto machine =
            static_cast<std::uint32_t>(mChance.Below(static_cast<std::int64_t>(mMachines.size())));
        const Micros at = std::max(mNow + mChance.Below(act.length), mHeldUpUntil[machine]);
        BeginChange(machine, at);
    }
}

void World::BeginChange(std::uint32_t machine, Micros at)
{
    constexpr std::int64_t kLongest = 60;
    const Micros length = (1 + mChance.Below(kLongest)) * kSecond;
    mHeldUpUntil[machine] = at + length + 2 * kSecond;
    switch (mChance.Below(6)) {
    case 0:
        StepAt(at, Step::Rename, machine);
        break;
    case 1:
        StepAt(at, Step::Kill, machine);
        StepAt(at + length, Step::PowerOn, machine);
        break;
    case 2:
        StepAt(at, Step::Move, machine);
        break;
    case 3:
        StepAt(at, Step::SwitchOff, machine);
        StepAt(at + length, Step::SwitchOn, machine);
        break;
    case 4:
        StepAt(at, Step::LoseLink, machine);
        StepAt(at + length, Step::RegainLink, machine);
        StepAt(at + length + kSecond, Step::CompleteSetup, machine);
        break;
    default:
        StepAt(at, Step::Stall, machine);
        StepAt(at + length / 4, Step::Resume, machine);
        break;
    }
}

// A machine that is split off, or stalled, is not checked until the end of that: then it settles.
void World::Settle(std::uint32_t number)
{
    if (!mSplit[number] && !mMachines[number]->IsStalled()) {
        mLists->Settle(number, mNow);
    }
}

void World::Take(Step step, std::uint32_t number)
{
    static constexpr std::array<const char *, 15> kNames{"is started",
                                                         "is killed",
                                                         "is renamed",
                                                         "gets another address",
                                                         "is switched off",
                                                         "is switched on",
                                                         "loses its link",
                                                         "has its link back",
                                                         "completes its set-up",
                                                         "is split off",
                                                         "is back",
                                                         "stalls",
                                                         "goes on",
                                                         "adds another device",
                                                         "is started and published"};
    Machine &machine = *mMachines[number];
    const bool starts = step == Step::PowerOn || step == Step::PowerOnPublished;
    // A split separates places, so it also ends for a machine that is off.
    if (machine.IsOn() == starts && step != Step::Heal) {
        return;
    }
    mTrace.Note(mNow, kNames[static_cast<std::size_t>(step)], number);
    if (starts) {
        PowerOn(machine, step == Step::PowerOn ? Machine::Publication::WithNextTick
                                               : Machine::Publication::AtOnce);
    } else if (step == Step::Kill) {
        mKilled.insert(number);
        if (machine.IsStalled()) {
            mLists->NoteResumed(number, mNow);
        }
        machine.Kill();
        mTraffic.NoteWithdrawn(machine);
        mLists->NoteGone(machine, mNow);
    } else {
        ChangeMachine(step, machine);
    }
}

void World::PowerOn(Machine &machine, Machine::Publication publication)
{
    mKilled.erase(machine.Number());
    mTraffic.NoteStart(machine, mNow);
    mLists->NoteEmptied(machine, mNow);
    machine.PowerOn(mNow, publication);
    Settle(machine.Number());
}

void World::ChangeMachine(Step step, Machine &machine)
{
    const std::uint32_t number = machine.Number();
    switch (step) {
    case Step::Rename:
        if (machine.IsEnabled()) { // otherwise the engine does not start again
            mTraffic.NoteStart(machine, mNow);
            mLists->NoteEmptied(machine, mNow);
        }
        machine.Rename(machine.HostName() + "'", mNow);
        return Settle(number);
    case Step::Move: {
        mTraffic.NoteStart(machine, mNow);
        const in_addr_t address = htonl(kLinkNetwork + kMovedHalf + ++mMoves);
        mByAddress[address] = number;
        mLists->NoteEmptied(machine, mNow);
        machine.Move(address, mNow);
        return Settle(number);
    }
    case Step::SwitchOff:
        mTraffic.NoteSwitched(machine, mNow);
        return machine.SwitchOff();
    case Step::SwitchOn:
        mTraffic.NoteSwitched(machine, mNow);
        machine.SwitchOn();
        return Settle(number);
    case Step::LoseLink:
        if (machine.IsEnabled()) {
            mLists->NoteEmptied(machine, mNow);
            mTraffic.NoteWithdrawn(machine);
        }
        machine.LoseLink(mNow);
        mLists->NoteGone(machine, mNow);
        return mLists->Disturb(number);
    case Step::RegainLink:
        mTraffic.NoteStart(machine, mNow);
        return machine.RegainLink(mNow);
    case Step::CompleteSetup:
        mTraffic.NoteStart(machine, mNow);
        mLists->NoteEmptied(machine, mNow);
        machine.CompleteSetup(mNow);
        return Settle(number);
    case Step::Split:
    case Step::Heal:
        mSplit[number] = step == Step::Split;
        if (mSplit[number]) {
            return mLists->NoteSplit(number, mNow);
        }
        mLists->NoteHealed(number, mNow);
        return Settle(number);
    case Step::Stall:
        machine.Stall();
        return mLists->NoteStalled(number, mNow);
    case Step::Resume:
        if (!machine.IsStalled()) { // it has been killed and started again
            return;
        }
        mTraffic.NoteResumed(machine, mNow);
        mLists->NoteResumed(number, mNow);
        machine.Resume(mNow);
        return Settle(number);
    case Step::AddOther:
        return AddOther(machine);
    case Step::PowerOn:
    case Step::PowerOnPublished:
    case Step::Kill:
        break;
    }
}

// The machine adds another one, or a silent ZR1 that does not exist, and adds it again every
// 20 s.
void World::AddOther(Machine &machine)
{
    const std::uint32_t number = machine.Number();
    SSDPDeviceType other;
    other.productName = "ZR1";
    other.hostName = "silent";
    other.ipAddress = TextOf(htonl(kLinkNetwork + 0xF000U + number));
    if (mOther[number] != 0) {
        const Machine &named = *mMachines[mOther[number] - 1];
        other.productName = named.Product();
        other.hostName = named.HostName();
        other.ipAddress = TextOf(named.Address());
    }
    other.modelName = other.productName;
    other.instance = "0";
    other.notificationType = formats::kRootDevice;
    machine.Add(other);
    mLists->NoteAdded(machine, formats::MakeUSN(other.productName, other.ipAddress, "0"));
    if (mNow < mHeldUpUntil[number]) {
        StepAt(mNow + 20 * kSecond, Step::AddOther, number);
    }
}

} // namespace simulation
