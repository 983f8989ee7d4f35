#include "formats/ssdp_protocol.h"
#include "simulation/machine.h"
#include "ssdp/ssdp_tunables.h"
#include "vexbase/vex_datagram_batch.h"

#include <algorithm>
#include <arpa/inet.h>
#include <string_view>
#include <utility>

// The receive loop.

namespace simulation {
namespace {

// The bytes of a socket's buffer that a datagram takes, with the kernel's overhead.
std::size_t CountedBytes(const Datagram &datagram)
{
    constexpr std::size_t kSmall = 450;
    return datagram.text.size() <= kSmall ? 768 : 2304;
}

} // namespace

// The end of the time-out of the current receive call.
Micros Machine::TimeOut() const
{
    const Micros interval = mAgent->PollIntervalMs() * kMillisecond;
    return (mSettings.variation.evenTicks ? mTickAt : mPolledAt) + interval;
}

void Machine::ClearBuffer()
{
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

// A thread that waits in the receive call needs some time to wake up. By then more datagrams
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

// Whether the core of a light machine receives a datagram. The core lists no peers, so it would
// answer each announcement with a request. Therefore it does not receive the announcements of a
// peer whose document the machine has.
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
    if (mClock.IsOver(mAgent->PollIntervalMs())) {
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

} // namespace simulation
