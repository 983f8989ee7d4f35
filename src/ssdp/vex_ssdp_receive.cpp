#include "ssdp/output_line.h"
#include "ssdp/tick_clock.h"
#include "ssdp/vex_ssdp.h"
#include "vexbase/vex_datagram_batch.h"
#include "vexbase/vex_time.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <list>
#include <string_view>
#include <utility>

// The SSDP thread.

void VEX_SSDP::SSDPThread()
{
    ProcessSSDP();
    ssdp::WriteProgress({"SSDPThread", ": Exiting..."});
}

void VEX_SSDP::ProcessSSDP()
{
    srandom(static_cast<unsigned int>(time(nullptr)));
    ssdp::TickClock clock(ssdp::kPollIntervalBase +
                          static_cast<std::uint32_t>(random() % ssdp::kPollIntervalSpread));
    clock.Start(VEXTime::GetSystemTime());
    {
        const VEXLockGuard hold(mLock);
        mPollInterval = clock.Interval();
        mRegistry.SetPollInterval(clock.Interval());
        RunRegistryPass(0);
        SendMSEARCHRequest(ssdp::kRootDevice);
    }
    VEXDatagramBatch batch(ssdp::kReceiveSize);
    while (!mThread.Terminate() && ReceiveUntilTick(clock, batch)) {
        Tick(clock.Elapsed());
        clock.Start(VEXTime::GetSystemTime());
    }
}

// Receives until the tick is over; false when the thread is asked to stop.
bool VEX_SSDP::ReceiveUntilTick(ssdp::TickClock &clock, VEXDatagramBatch &batch)
{
    do {
        if (mThread.Terminate()) {
            return false;
        }
        const std::size_t count = mSocket.Poll(batch, clock.Interval());
        for (std::size_t index = 0; index < count; ++index) {
            const std::string_view datagram = batch.Datagram(index);
            if (!datagram.empty()) {
                ParseSSDPPacket(datagram.data(), static_cast<std::int64_t>(datagram.size()),
                                batch.Sender(index));
            }
        }
    } while (!clock.IsOver(VEXTime::GetSystemTime()));
    return true;
}

// Sends what has waited long enough and runs the registry pass.
void VEX_SSDP::Tick(std::uint32_t elapsed)
{
    std::list<GETMessageType> responses;
    std::list<GETMessageType> requests;
    {
        const VEXLockGuard hold(mLock);
        responses = mResponses.TakeDue(elapsed);
        requests = mRequests.TakeDue(elapsed);
    }
    SendDue(std::move(responses), ssdp::kSparedByAnswers);
    SendDue(std::move(requests), ssdp::kSparedByRequests);
    const VEXLockGuard hold(mLock);
    RunRegistryPass(elapsed);
}

// Some at a time, since sending thousands takes long enough for others to miss
// the lock. Once Close has emptied the queues, what was taken from them before
// is not sent either.
void VEX_SSDP::SendDue(std::list<GETMessageType> due, int sparedPercent)
{
    while (!due.empty()) {
        const VEXLockGuard hold(mLock);
        for (int left = ssdp::kSentAtOnce; left > 0 && !due.empty(); --left) {
            if (IsClosing()) {
                return;
            }
            const GETMessageType &datagram = due.front();
            mSocket.WriteSparing(datagram.message.data(), datagram.message.size(),
                                 datagram.destination, sparedPercent);
            due.pop_front();
        }
    }
}

void VEX_SSDP::RunRegistryPass(std::uint32_t elapsed)
{
    if (IsClosing()) {
        return;
    }
    constexpr std::uint32_t kLongest = std::numeric_limits<std::int32_t>::max();
    mRegistry.UpdateContainers(static_cast<std::int32_t>(std::min(elapsed, kLongest)));
    if (mRegistry.Changed()) {
        mChangeEvent.Clear();
        mChangeEvent.Signal();
    }
}
