#include "simulation/machine.h"

#include "formats/ssdp_device_type.h"
#include "formats/ssdp_protocol.h"
#include "ssdp/ssdp_tunables.h"
#include "ssdp/timing.h"
#include "vexbase/vex_datagram_batch.h"

#include <algorithm>
#include <arpa/inet.h>
#include <limits>
#include <utility>

namespace simulation {
namespace {

constexpr const char *kWebRoot = "/var/www/html";
constexpr Micros kForEver = std::numeric_limits<Micros>::max();

// The bytes of a socket's buffer that a datagram takes, with the kernel's overhead.
std::size_t CountedBytes(const Datagram &datagram)
{
    constexpr std::size_t kSmall = 450;
    return datagram.text.size() <= kSmall ? 768 : 2304;
}

} // namespace

bool MemoryFiles::Write(const std::string &path, std::string_view document)
{
    mDocuments[path] = document;
    return true;
}

std::optional<ssdp::ServedDocument> MemoryFiles::Read(std::string_view name)
{
    const auto found = mDocuments.find(kWebRoot + std::string(name));
    if (found == mDocuments.end()) {
        return std::nullopt;
    }
    return ssdp::ServedDocument{found->second, found->second.size()};
}

Machine::Machine(MachineSettings settings, Surroundings &surroundings, in_addr_t address,
                 std::string hostName)
    : mSettings(std::move(settings)),
      mSurroundings(surroundings),
      mAddress(address),
      mHostName(std::move(hostName))
{
}

std::string Machine::Usn() const
{
    return formats::MakeUSN(mSettings.product, TextOf(mAddress), "0");
}

std::uint32_t Machine::ClockMs(Micros now) const
{
    return mSettings.clockMs + static_cast<std::uint32_t>(now / kMillisecond);
}

void Machine::PowerOn(Micros now, Publication publication)
{
    mFiles.ForgetNumbers();
    mAgent = std::make_unique<ssdp::SSDPAgent>(static_cast<ssdp::SSDPEnvironment &>(*this));
    mEnabled = true;
    mAgent->AddInterface(TextOf(mAddress), "net0", mSettings.netmask);
    if (publication == Publication::AtOnce) {
        Publish();
        Start(now);
    } else {
        Start(now);
        Publish();
    }
}

void Machine::Kill()
{
    mAgent.reset();
    ClearBuffer();
    mStalled = false;
    ++mRun;
    mTouched = true;
}

void Machine::Rename(const std::string &hostName, Micros now)
{
    mHostName = hostName;
    if (mEnabled) {
        Reopen(now);
    }
}

void Machine::Move(in_addr_t address, Micros now)
{
    mAgent->RemoveService(mSettings.product, TextOf(mAddress), 0);
    Close(true, now);
    mAddress = address;
    Open(now);
    if (mEnabled) {
        Publish();
    }
}

void Machine::Reopen(Micros now)
{
    mAgent->RemoveService(mSettings.product, TextOf(mAddress), 0);
    Close(true, now);
    Open(now);
    Publish();
}

void Machine::SwitchOn()
{
    mEnabled = true;
    Publish();
}

void Machine::SwitchOff()
{
    mEnabled = false;
    mAgent->RemoveService(mSettings.product, TextOf(mAddress), 0);
}

void Machine::LoseLink(Micros now)
{
    if (mEnabled && IsOpen()) {
        Close(false, now);
    }
}

void Machine::RegainLink(Micros now)
{
    if (mEnabled && !IsOpen()) {
        Open(now);
    }
}

void Machine::CompleteSetup(Micros now)
{
    Close(true, now);
    Open(now);
    if (mEnabled) {
        Publish();
    }
}

void Machine::Publish()
{
    SSDPDeviceType service;
    service.notificationType = formats::kRootDevice;
    service.hostName = mHostName;
    service.serialNumber = "1HE000000";
    service.ipAddress = TextOf(mAddress);
    service.boardID = mSettings.board;
    service.modelNumber = service.boardID;
    service.instance = "0";
    service.productName = mSettings.product;
    service.modelName = mSettings.product;
    service.modelDescription = mSettings.category;
    service.urlScheme = "http://";
    mAgent->SetPath(kWebRoot);
    mAgent->AddService(service);
}

// Like VEX_SSDP::Open.
void Machine::Open(Micros now)
{
    mAgent->AddInterface(TextOf(mAddress), "net0", mSettings.netmask);
    Start(now);
}

// Like the start of VEX_SSDP's thread.
void Machine::Start(Micros now)
{
    ++mRun;
    mBusyUntil = now;
    mSendingAt = now;
    mPolledAt = now;
    mTickAt = now;
    mClock.Start(ClockMs(now));
    mDiagnosticBudget.emplace(ssdp::kDiagnosticBurstBytes, ssdp::kDiagnosticBytesPerSecond);
    mRandom.Seed(mSettings.time + static_cast<std::uint32_t>(now / kSecond));
    if (mSettings.variation.shiftedDraws) {
        for (std::uint32_t left = ntohl(mAddress) & 0xFFFFU; left > 0; --left) {
            static_cast<void>(mRandom.Draw());
        }
    }
    mAgent->Start();
    mSurroundings.WakeAt(*this, TimeOut(), mRun);
}

// The end of the time-out of the current receive call.
Micros Machine::TimeOut() const
{
    const Micros interval = mAgent->PollIntervalMs() * kMillisecond;
    return (mSettings.variation.evenTicks ? mTickAt : mPolledAt) + interval;
}

void Machine::Close(bool goodbye, Micros now)
{
    mSendingAt = now;
    mAgent->Leave(goodbye);
    ClearBuffer();
    ++mRun;
    mTouched = true;
}

void Machine::ClearBuffer()
{
    mDescribed.clear();
    mWaiting.clear();
    mWaitingBytes = 0;
    mBatchScheduled = false;
}

// Like the kernel, accepts a datagram of any size as long as the buffer is not full.
bool Machine::Receive(const DatagramPointer &datagram, Micros now)
{
    if (mWaitingBytes >= mSettings.receiveBuffer) {
        return false;
    }
    mWaiting.push_back({now, datagram});
    mWaitingBytes += CountedBytes(*datagram);
    ScheduleBatch();
    return true;
}

// A thread that waits in the receive call needs some time to run. By then more datagrams
// may have arrived.
void Machine::ScheduleBatch()
{
    if (mBatchScheduled || mStalled || mWaiting.empty()) {
        return;
    }
    const Micros since = mWaiting.front().since;
    mSurroundings.HandleBatchAt(
        *this, since < mBusyUntil ? mBusyUntil : since + mSettings.wakeUpTime, mRun);
    mBatchScheduled = true;
}

void Machine::HandleBatch(Micros now, std::uint32_t run)
{
    if (run != mRun || !IsOpen()) {
        return;
    }
    if (mStalled) {
        mBatchScheduled = false; // Resume schedules another one
        return;
    }
    if (const Micros free = mSurroundings.FreeProcessorAt(now); free > now) {
        mSurroundings.HandleBatchAt(*this, free, mRun);
        return;
    }
    const std::uint32_t nowMs = ClockMs(now);
    mBusyUntil = now;
    for (std::size_t count = 0; count < vexbase::DatagramBatch::kCapacity && !mWaiting.empty() &&
                                mWaiting.front().since <= now;
         ++count) {
        const DatagramPointer datagram = std::move(mWaiting.front().datagram);
        mWaiting.pop_front();
        mWaitingBytes -= CountedBytes(*datagram);
        Handle(*datagram, nowMs);
    }
    mPolledAt = mBusyUntil;
    CheckTick(mBusyUntil);
    mSurroundings.UseProcessor(mBusyUntil);
    mBatchScheduled = false;
    ScheduleBatch();
}

void Machine::Handle(const Datagram &datagram, std::uint32_t nowMs)
{
    mBusyUntil += mSettings.handlingTime;
    mSendingAt = mBusyUntil;
    if (mSettings.light && !NeedsCore(datagram)) {
        return;
    }
    mHandled = &datagram;
    const auto wanted = mAgent->ParseSSDPPacket(
        std::string_view(datagram.text).substr(0, formats::kReceiveSize), datagram.sender, nowMs);
    if (wanted) {
        if (const auto document = mFiles.Read(wanted->name)) {
            mAgent->SendGETResponse(*wanted, *document, nowMs);
        }
    }
    mHandled = nullptr;
    mTouched = mTouched || datagram.kind == DatagramKind::Document;
    NoteSize();
}

// Whether the core of a light machine receives a datagram. The core must not list peers: it
// requests the document of a peer that it does not list.
bool Machine::NeedsCore(const Datagram &datagram)
{
    if (datagram.from == kNoMachine || datagram.from == mSettings.number) {
        return true;
    }
    if (mDescribed.size() <= datagram.from) {
        mDescribed.resize(datagram.from + 1);
    }
    auto described = mDescribed[datagram.from];
    switch (datagram.kind) {
    case DatagramKind::Document:
        described = true;
        return false;
    case DatagramKind::Goodbye:
        described = false;
        return false;
    case DatagramKind::Alive:
    case DatagramKind::SearchAnswer:
        return !described;
    default:
        return true;
    }
}

void Machine::NoteSize()
{
    const std::size_t size = mAgent->NodeList().size();
    mTouched = mTouched || size != mSize;
    mSize = size;
}

// The end of one turn of the receive loop.
void Machine::CheckTick(Micros now)
{
    mClock.Update(ClockMs(now), mAgent->PollIntervalMs());
    if (mClock.ElapsedMs() >= mAgent->PollIntervalMs()) {
        Tick(now);
    }
}

void Machine::Tick(Micros now)
{
    const std::uint32_t elapsedMs = mClock.ElapsedMs();
    mSendingAt = std::max(now, mBusyUntil);
    mAgent->BeginTick(elapsedMs);
    while (mAgent->SendDue()) {
    }
    mAgent->UpdateContainers(elapsedMs);
    mBusyUntil = mSendingAt;
    mPolledAt = mBusyUntil;
    mTickAt = mBusyUntil;
    mClock.Start(ClockMs(mBusyUntil));
    NoteSize();
}

// As VEX_SSDP::AnswerDiagnostics, which has its own thread and socket.
void Machine::AnswerDiagnostic(const Datagram &datagram, Micros now)
{
    mDiagnosticBudget->Refill(ClockMs(now));
    if (datagram.text.empty() || datagram.sender.sin_port == htons(formats::kDiagnosticPort) ||
        !mDiagnosticBudget->Has(formats::kMaxDatagram)) {
        return;
    }
    std::string reply = "Invalid operation\n";
    if (datagram.text.size() == ssdp::kDiagnosticCommandBytes) {
        mAgent->ParseSSDPDiagnosticMessages(datagram.text, reply);
    }
    static_cast<void>(mDiagnosticBudget->Spend(reply.size()));
    mSurroundings.Reply(*this, datagram.sender, reply, now);
}

void Machine::Wake(Micros now, std::uint32_t run)
{
    if (run != mRun || !IsOpen() || mStalled) {
        return;
    }
    if (now >= TimeOut() && !mBatchScheduled) {
        if (const Micros free = mSurroundings.FreeProcessorAt(now); free > now) {
            mSurroundings.WakeAt(*this, free, mRun);
            return;
        }
        mPolledAt = now;
        CheckTick(now);
        mSurroundings.UseProcessor(mBusyUntil);
    }
    mSurroundings.WakeAt(*this, std::max(TimeOut(), now + kMillisecond), mRun);
}

void Machine::Resume(Micros now)
{
    mStalled = false;
    if (!IsOpen()) {
        return;
    }
    mBusyUntil = now;
    ScheduleBatch();
    mSurroundings.WakeAt(*this, std::max(TimeOut(), now), mRun);
}

void Machine::Multicast(std::string_view datagram)
{
    const sockaddr_in group = SocketAddress(inet_addr(formats::kMulticastAddress), formats::kPort);
    static_cast<void>(mSurroundings.Send(*this, true, group, datagram, mSendingAt, 0));
    mSendingAt += mSettings.handlingTime;
}

bool Machine::SendTo(const sockaddr_in &peer, std::string_view datagram, ssdp::Urgency urgency)
{
    const int spared =
        urgency == ssdp::Urgency::Answer ? ssdp::kSparedByAnswers : ssdp::kSparedByRequests;
    if (!mSurroundings.Send(*this, false, peer, datagram, mSendingAt, spared)) {
        return false;
    }
    mSendingAt += mSettings.handlingTime;
    return true;
}

} // namespace simulation
