#include "formats/ssdp_protocol.h"
#include "ssdp/engine_environment.h"
#include "ssdp/send_budget.h"
#include "ssdp/ssdp_agent.h"
#include "ssdp/ssdp_tunables.h"
#include "ssdp/tick_clock.h"
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

// Begins the core's run; returns its poll interval.
std::uint32_t VEX_SSDP::StartAgent()
{
    const Hold hold(*this);
    srandom(static_cast<unsigned int>(time(nullptr)));
    mAgent->Start();
    SignalChange();
    return mAgent->PollIntervalMs();
}

// Receives until the tick is over; false when the thread is asked to stop.
bool VEX_SSDP::ReceiveUntilTick(ssdp::TickClock &clock, std::uint32_t intervalMs,
                                vexbase::DatagramBatch &batch)
{
    while (clock.ElapsedMs() < intervalMs) {
        if (mThread.Terminate()) {
            return false;
        }
        const std::size_t count = mSocket.Poll(batch, intervalMs);
        const std::uint32_t nowMs = VEXTime::GetSystemTime();
        for (std::size_t index = 0; index < count; ++index) {
            ParseSSDPPacket(batch.Datagram(index), batch.Sender(index), nowMs);
        }
        clock.Note(VEXTime::GetSystemTime(), intervalMs);
    }
    return !mThread.Terminate();
}

// The file of a document is read without the lock: the medium may be slow.
void VEX_SSDP::ParseSSDPPacket(std::string_view datagram, const sockaddr_in &sender,
                               std::uint32_t nowMs)
{
    std::optional<ssdp::DocumentRequest> wanted;
    ssdp::DescriptionFiles *files = nullptr;
    {
        const Hold hold(*this);
        wanted = mAgent->ParseSSDPPacket(datagram, sender, nowMs);
        files = &mEnvironment->Files();
    }
    if (!wanted) {
        return;
    }
    if (const auto document = files->Read(wanted->name)) {
        const Hold hold(*this);
        mAgent->SendGETResponse(*wanted, *document, nowMs);
    }
}

// Sends what has waited long enough and runs the registry pass. The lock is
// released now and then, since sending thousands takes long.
void VEX_SSDP::Tick(std::uint32_t elapsedMs)
{
    {
        const Hold hold(*this);
        mAgent->BeginTick(elapsedMs);
    }
    while (SendDue()) {
    }
    const Hold hold(*this);
    mAgent->UpdateContainers(elapsedMs);
    SignalChange();
}

bool VEX_SSDP::SendDue()
{
    const Hold hold(*this);
    return mAgent->SendDue();
}

void VEX_SSDP::SignalChange()
{
    if (mAgent->IsOpen() && mAgent->Changed()) {
        mChangeEvent.Clear();
        mChangeEvent.Signal();
    }
}

// The diagnostic thread: a command of two bytes is answered with a listing of a
// registry, in one datagram.

void VEX_SSDP::SSDPDiagnosticThread()
{
    AnswerDiagnostics();
    vexbase::WriteProgress({"SSDPDiagnosticThread", ": Exiting..."});
}

// A datagram from this very port of another device would be a reply: answering it
// would never end.
void VEX_SSDP::AnswerDiagnostics()
{
    ssdp::SendBudget budget(ssdp::kDiagnosticBurstBytes, ssdp::kDiagnosticBytesPerSecond);
    std::array<char, formats::kReceiveSize> buffer{};
    while (!mDiagnosticThread.Terminate()) {
        sockaddr_in sender{};
        const std::size_t length = mDiagnosticSocket.Read(buffer.data(), buffer.size() - 1, sender);
        const std::uint32_t nowMs = VEXTime::GetSystemTime();
        if (length == 0 || sender.sin_port == htons(formats::kDiagnosticPort) ||
            !budget.Has(formats::kMaxDatagram, nowMs)) {
            continue;
        }
        std::string reply = "Invalid operation\n";
        if (length == 2) {
            const Hold hold(*this);
            mAgent->ParseSSDPDiagnosticMessages({buffer.data(), length}, reply);
        }
        static_cast<void>(budget.Spend(reply.size(), nowMs));
        mDiagnosticSocket.Write(reply.data(), reply.size(), sender);
    }
}
