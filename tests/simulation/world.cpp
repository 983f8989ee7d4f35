#include "simulation/world.h"

#include "formats/ssdp_protocol.h"
#include "product/product_id.h"
#include "ssdp/ssdp_tunables.h"
#include "support/live_memory.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstdio>
#include <ctime>

namespace simulation {
namespace {

// The kernel grants an unprivileged process at most twice net.core.rmem_max. With the kernel's
// default, this is less than the daemon wants; with the package's limit, the daemon gets what
// it wants.
constexpr std::size_t kUsualBuffer = 2 * 212'992;
constexpr std::size_t kLargeBuffer = ssdp::kReceiveBufferBytes;

// The processor time of this thread so far. It is only printed; nothing depends on it.
Micros ProcessorTime()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return time.tv_sec * kSecond + time.tv_nsec / 1000;
}

// The earliest result of time() at the start.
constexpr std::uint32_t kEpoch = 1'700'000'000;

std::string BoardText(std::uint32_t board)
{
    std::array<char, 16> text{};
    static_cast<void>(std::snprintf(text.data(), text.size(), "0x%08x", board));
    return text.data();
}

// The USN in an announcement or a goodbye.
std::string UsnIn(std::string_view datagram)
{
    constexpr std::string_view kHeader = "\r\nUSN: ";
    const std::size_t start = datagram.find(kHeader) + kHeader.size();
    return std::string(datagram.substr(start, datagram.find('\r', start) - start));
}

in_addr_t AddressOfMachine(std::uint32_t number)
{
    return htonl(kLinkNetwork + number / 250 * 256 + number % 250 + 1);
}

} // namespace

World::World(const Scenario &scenario, std::uint64_t seed, const Variation &variation)
    : mScenario(scenario),
      mChance(seed),
      mLink(scenario.link, mChance),
      mProcessors(scenario.processors, 0),
      mSplit(scenario.devices, false),
      mHeldUpUntil(scenario.devices, 0),
      mOther(scenario.devices, 0),
      mTraffic(scenario, mViolations)
{
    mFigures.seconds.reserve(static_cast<std::size_t>(scenario.end / kSecond) + 1);
    MakeMachines(variation);
    mLists = std::make_unique<ListChecks>(scenario, mMachines, mViolations);
    for (std::uint32_t number = 0; number < scenario.acts.size(); ++number) {
        mQueue.Add(scenario.acts[number].at, EventKind::Act, kNoMachine, number);
    }
    mQueue.Add(kSecond, EventKind::Second);
}

// One clock wraps after a minute, the next one a minute later, and so on.
void World::MakeMachines(const Variation &variation)
{
    std::vector<product::ProductRow> products(product::kProductTable.begin(),
                                              product::kProductTable.end());
    if (mScenario.withoutZR1) {
        products.erase(products.begin() + 6);
    }
    const std::uint32_t drawn = kEpoch + static_cast<std::uint32_t>(mChance.Below(100'000'000));
    const std::uint32_t time = mScenario.time != 0 ? mScenario.time : drawn;
    for (std::uint32_t number = 0; number < mScenario.devices; ++number) {
        const product::ProductRow &product = products[number % products.size()];
        MachineSettings settings;
        settings.number = number;
        settings.product = product.modelName;
        settings.category = product.category;
        settings.board = BoardText(product.board);
        settings.netmask.s_addr = htonl(kLinkMask);
        settings.clockMs = number < mScenario.wrapping
                               ? 0U - 60'000U * (number + 1)
                               : static_cast<std::uint32_t>(mChance.Below(1'000'000'000));
        settings.time = time + (mScenario.ownSeeds ? number * 1009 : 0);
        settings.receiveBuffer = mScenario.largeBuffers ? kLargeBuffer : kUsualBuffer;
        settings.light = mScenario.whole != 0 && number + mScenario.whole < mScenario.devices;
        settings.variation = variation;
        const in_addr_t address = AddressOfMachine(number);
        mByAddress[address] = number;
        mMachines.push_back(std::make_unique<Machine>(settings, static_cast<Surroundings &>(*this),
                                                      address,
                                                      "device-" + std::to_string(number + 1)));
    }
}

void World::Run()
{
    mProcessorBefore = ProcessorTime();
    while (mNow < mScenario.end) {
        const Event event = mQueue.Take(); // never empty: it contains the next second
        mNow = event.at;
        Dispatch(event);
    }
    EndScenario();
}

void World::Dispatch(const Event &event)
{
    switch (event.kind) {
    case EventKind::Second:
        EndSecond();
        break;
    case EventKind::Act:
        Begin(mScenario.acts[event.number]);
        break;
    case EventKind::Step:
        Take(static_cast<Step>(event.number), event.machine);
        break;
    case EventKind::Wake:
        mMachines[event.machine]->Wake(mNow, event.number);
        break;
    case EventKind::Batch:
        mMachines[event.machine]->HandleBatch(mNow, event.number);
        break;
    case EventKind::Multicast:
        DeliverToAll(event.number);
        break;
    case EventKind::Arrival: {
        const DatagramPointer datagram = std::move(mInFlight[event.number]);
        mFreePlaces.push_back(event.number);
        Deliver(*mMachines[event.machine], datagram);
        break;
    }
    case EventKind::Attack:
        PlayTurn(event.number);
        break;
    }
}

void World::WakeAt(const Machine &machine, Micros at, std::uint32_t run)
{
    mQueue.Add(at, EventKind::Wake, machine.Number(), run);
}

void World::HandleBatchAt(const Machine &machine, Micros at, std::uint32_t run)
{
    mQueue.Add(at, EventKind::Batch, machine.Number(), run);
}

Micros World::FreeProcessorAt(Micros now) const
{
    const auto first = std::min_element(mProcessors.begin(), mProcessors.end());
    return first == mProcessors.end() ? now : std::max(now, *first);
}

void World::UseProcessor(Micros until)
{
    const auto first = std::min_element(mProcessors.begin(), mProcessors.end());
    if (first != mProcessors.end()) {
        *first = until;
    }
}

// A datagram for an address that no machine has had is sent and lost: this link does not simulate
// address resolution. A datagram of a machine to itself stays in the machine.
bool World::Send(Machine &machine, bool multicast, const sockaddr_in &destination,
                 std::string_view text, Micros at, int sparedPercent)
{
    const bool toItself = destination.sin_addr.s_addr == machine.Address();
    const auto arrival =
        toItself ? std::make_optional(at)
                 : mLink.Send(machine.Number(), multicast, text.size(), at, sparedPercent);
    if (!arrival) {
        return false;
    }
    const DatagramPointer datagram =
        MakeDatagram(text, SocketAddress(machine.Address(), formats::kPort), destination, multicast,
                     machine.Number());
    NoteSent(machine, *datagram, at);
    if (multicast) {
        mQueue.Add(*arrival, EventKind::Multicast, kNoMachine, PutInFlight(datagram));
        return true;
    }
    const auto receiver = mByAddress.find(destination.sin_addr.s_addr);
    if (receiver != mByAddress.end()) {
        mQueue.Add(*arrival + mLink.ReorderingDelay(), EventKind::Arrival, receiver->second,
                   PutInFlight(datagram));
    }
    return true;
}

void World::Reply(const Machine &machine, const sockaddr_in &destination, std::string_view text,
                  Micros at)
{
    const auto arrival = mLink.Send(machine.Number(), false, text.size(), at, 0);
    if (!arrival) {
        return;
    }
    const sockaddr_in port = SocketAddress(machine.Address(), formats::kDiagnosticPort);
    const DatagramPointer reply = MakeDatagram(text, port, destination, false, machine.Number());
    ++mSecond.datagrams[static_cast<std::size_t>(DatagramKind::Other)];
    mSecond.bytes += text.size();
    mTrace.Note(at, "replies", machine.Number(), *reply, kNoMachine);
    mTraffic.NoteReply(machine, *reply, at);
    const auto receiver = mByAddress.find(destination.sin_addr.s_addr);
    if (receiver != mByAddress.end()) {
        mQueue.Add(*arrival, EventKind::Arrival, receiver->second, PutInFlight(reply));
    }
}

void World::NoteSent(const Machine &machine, const Datagram &datagram, Micros at)
{
    const auto found = mByAddress.find(datagram.destination.sin_addr.s_addr);
    const std::uint32_t peer = found == mByAddress.end() ? kNoMachine : found->second;
    if (peer != machine.Number()) {
        ++mSecond.datagrams[static_cast<std::size_t>(datagram.kind)];
        mSecond.bytes += datagram.text.size();
    }
    mTrace.Note(at, "sends", machine.Number(), datagram, peer);
    mTraffic.NoteSent(machine, datagram, peer, at);
    const bool alive = datagram.kind == DatagramKind::Alive;
    if (!alive && datagram.kind != DatagramKind::Goodbye) {
        return;
    }
    const std::string usn = UsnIn(datagram.text);
    if (usn != machine.Usn()) {
        return alive ? mLists->NoteProxied(machine, usn, at)
                     : mLists->NoteProxyGoodbye(machine, usn, at);
    }
    if (alive) {
        mTraffic.NoteAnnounced(machine, at);
        mLists->NotePublished(machine);
    } else {
        mTraffic.NoteWithdrawn(machine);
        mLists->NoteGoodbye(machine, usn, at);
    }
}

// Stores a datagram until its arrival. Returns its index in mInFlight.
std::uint32_t World::PutInFlight(const DatagramPointer &datagram)
{
    if (mFreePlaces.empty()) {
        mInFlight.push_back(datagram);
        return static_cast<std::uint32_t>(mInFlight.size() - 1);
    }
    const std::uint32_t place = mFreePlaces.back();
    mFreePlaces.pop_back();
    mInFlight[place] = datagram;
    return place;
}

void World::DeliverToAll(std::uint32_t place)
{
    const DatagramPointer datagram = std::move(mInFlight[place]);
    mFreePlaces.push_back(place);
    for (const auto &machine : mMachines) {
        const Micros late = mLink.ReorderingDelay();
        if (late != 0) {
            mQueue.Add(mNow + late, EventKind::Arrival, machine->Number(), PutInFlight(datagram));
        } else {
            Deliver(*machine, datagram);
        }
    }
}

// A machine also receives its own multicast, without losses.
void World::Deliver(Machine &machine, const DatagramPointer &datagram)
{
    if (!machine.IsOpen() || AreApart(*datagram, machine)) {
        return;
    }
    const std::uint32_t number = machine.Number();
    const bool lost = datagram->from != number && mLink.Loses(number, datagram->multicast);
    const int copies = lost ? 0 : 1 + (mLink.Duplicates() ? 1 : 0);
    mSecond.lost += lost ? 1 : 0;
    for (int copy = 0; copy < copies; ++copy) {
        if (datagram->destination.sin_port == htons(formats::kDiagnosticPort)) {
            machine.AnswerDiagnostic(*datagram, mNow);
            continue;
        }
        mTraffic.NoteReceived(machine, *datagram);
        const Micros arrival = datagram->from == number
                                   ? mNow
                                   : mLink.ArrivalFromSwitch(number, datagram->text.size(), mNow);
        if (!machine.Receive(datagram, arrival)) {
            ++mSecond.dropped;
            continue;
        }
        mTrace.Note(mNow, "receives", number, *datagram, datagram->from);
        if (datagram->kind == DatagramKind::Document && datagram->from != kNoMachine) {
            mLists->NoteDocument(machine, *datagram, mNow);
        }
    }
}

bool World::AreApart(const Datagram &datagram, const Machine &receiver) const
{
    return datagram.from != kNoMachine && mSplit[datagram.from] != mSplit[receiver.Number()];
}

void World::EndSecond()
{
    mTraffic.EverySecond(mMachines, mNow);
    mLists->EverySecond(mNow);
    mSecond.wanted = mLists->Wanted();
    mSecond.right = mLists->Right();
    mSecond.busy = mLink.BusyTime() - mBusyBefore;
    mBusyBefore = mLink.BusyTime();
    const Micros processor = ProcessorTime();
    mSecond.processor = processor - mProcessorBefore;
    mProcessorBefore = processor;
    mFigures.seconds.push_back(mSecond);
    mSecond = SecondFigures();
    if (mNow == mScenario.expects.memory) {
        mMemory = test::LiveMemory();
    }
    mQueue.Add(mNow + kSecond, EventKind::Second);
}

// A device may keep more announcements than it has peers (see ssdp::MostKnownAlives): 22 more for
// 50 peers, some 8 kB. The rest is for the simulator's own data.
void World::EndScenario()
{
    constexpr std::int64_t kGrowthOfDevice = 12'000;
    const Expectations &expects = mScenario.expects;
    if (expects.quiet != 0 && mTraffic.LastExchange() > mNow - expects.quiet) {
        mViolations.Add(mNow, {},
                        "requests or documents were still sent at " +
                            TimeText(mTraffic.LastExchange()));
    }
    const std::int64_t grown = test::LiveMemory() - mMemory;
    if (expects.memory != 0 && grown > mMemory / 50 + kGrowthOfDevice * mScenario.devices) {
        mViolations.Add(mNow, {},
                        "the memory has grown by " + std::to_string(grown) + " bytes, from " +
                            std::to_string(mMemory));
    }
    mFigures.askedAgain = mTraffic.AskedAgain();
    mFigures.relisted = mLists->Relisted();
    mFigures.lapses = mLists->Lapses();
    mFigures.longestLapse = mLists->LongestLapse();
}

} // namespace simulation
