#include "formats/ssdp_protocol.h"
#include "ssdp/engine_environment.h"
#include "ssdp/flood_limits.h"
#include "ssdp/ssdp_agent.h"
#include "ssdp/ssdp_tunables.h"
#include "ssdp/timing.h"
#include "ssdp/vex_ssdp.h"
#include "vexbase/vex_datagram_batch.h"
#include "vexbase/vex_output.h"
#include "vexbase/vex_time.h"

#include <arpa/inet.h>
#include <array>
#include <cstdlib>
#include <ctime>

// The SSDP thread.

void VEX_SSDP::SSDPThread()
{
    ProcessSSDP();
    vexbase::WriteProgress({"SSDPThread", ": Exiting..."});
}

void VEX_SSDP::ProcessSSDP()
{
    ssdp::TickClock clock;
    clock.Start(VEXTime::GetSystemTime());
    const std::uint32_t intervalMs = StartAgent();
    vexbase::DatagramBatch batch(formats::kReceiveSize);
    while (!mThread.Terminate() && ReceiveUntilTick(clock, intervalMs, batch)) {
        Tick(clock.ElapsedMs());
        clock.Start(VEXTime::GetSystemTime());
    }
}

// Begins a run of the core. Returns its poll interval.
std::uint32_t VEX_SSDP::StartAgent()
{
    const EngineLock lock(*this);
    srandom(static_cast<unsigned int>(time(nullptr)));
    mAgent->Start();
    SignalChange();
    return mAgent->PollIntervalMs();
}

// Receives until the tick is over. Returns false when the thread must stop.
bool VEX_SSDP::ReceiveUntilTick(ssdp::TickClock &clock, std::uint32_t intervalMs,
                                vexbase::DatagramBatch &batch)
{
    while (!clock.IsOver(intervalMs)) {
        if (mThread.Terminate()) {
            return false;
        }
        const std::size_t count = mSocket.Poll(batch, intervalMs);
        const std::uint32_t nowMs = VEXTime::GetSystemTime();
        for (std::size_t index = 0; index < count; ++index) {
            ParseSSDPPacket(batch.Datagram(index), batch.Sender(index), nowMs);
        }
        clock.Update(VEXTime::GetSystemTime(), intervalMs);
    }
    return !mThread.Terminate();
}

// A document's file is read without the lock: the disk may be slow, and the other
// threads must not wait for it.
void VEX_SSDP::ParseSSDPPacket(std::string_view datagram, const sockaddr_in &sender,
                               std::uint32_t nowMs)
{
    std::optional<ssdp::DocumentRequest> wanted;
    ssdp::DescriptionFiles *files = nullptr;
    {
        const EngineLock lock(*this);
        wanted = mAgent->ParseSSDPPacket(datagram, sender, nowMs);
        files = &mEnvironment->Files();
    }
    if (!wanted) {
        return;
    }
    if (const auto document = files->Read(wanted->name)) {
        const EngineLock lock(*this);
        mAgent->SendGETResponse(*wanted, *document, nowMs);
    }
}

// Sends due datagrams in batches and releases the lock between them: sending thousands
// takes long, and the other threads need the lock. Then runs the registry pass.
void VEX_SSDP::Tick(std::uint32_t elapsedMs)
{
    {
        const EngineLock lock(*this);
        mAgent->BeginTick(elapsedMs);
    }
    while (SendDue()) {
    }
    const EngineLock lock(*this);
    mAgent->UpdateContainers(elapsedMs);
    SignalChange();
}

bool VEX_SSDP::SendDue()
{
    const EngineLock lock(*this);
    return mAgent->SendDue();
}

void VEX_SSDP::SignalChange()
{
    if (mAgent->IsOpen() && mAgent->Changed()) {
        mChangeEvent.Clear();
        mChangeEvent.Signal();
    }
}

// The diagnostic thread. It answers a command with one datagram: a listing of the announced
// or of the known services, or an error text.

void VEX_SSDP::SSDPDiagnosticThread()
{
    AnswerDiagnostics();
    vexbase::WriteProgress({"SSDPDiagnosticThread", ": Exiting..."});
}

// A datagram from the diagnostic port of another device is a reply. It gets no answer:
// otherwise two devices would answer each other endlessly. The budget is checked before
// the listing is composed, which costs time under the lock.
void VEX_SSDP::AnswerDiagnostics()
{
    ssdp::SendBudget budget(ssdp::kDiagnosticBurstBytes, ssdp::kDiagnosticBytesPerSecond);
    std::array<char, formats::kReceiveSize> buffer{};
    while (!mDiagnosticThread.Terminate()) {
        sockaddr_in sender{};
        const std::size_t length = mDiagnosticSocket.Read(buffer.data(), buffer.size() - 1, sender);
        const std::uint32_t nowMs = VEXTime::GetSystemTime();
        budget.Refill(nowMs);
        if (length == 0 || sender.sin_port == htons(formats::kDiagnosticPort) ||
            !budget.Has(formats::kMaxDatagram)) {
            continue;
        }
        std::string reply = "Invalid operation\n";
        if (length == ssdp::kDiagnosticCommandBytes) {
            const EngineLock lock(*this);
            mAgent->ParseSSDPDiagnosticMessages({buffer.data(), length}, reply);
        }
        static_cast<void>(budget.Spend(reply.size()));
        mDiagnosticSocket.Write(reply.data(), reply.size(), sender);
    }
}
