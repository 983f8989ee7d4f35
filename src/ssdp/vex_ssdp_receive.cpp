#include "ssdp/output_line.h"
#include "ssdp/tick_clock.h"
#include "ssdp/vex_ssdp.h"
#include "vexbase/vex_datagram_batch.h"
#include "vexbase/vex_time.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <string_view>

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

// Sends what has waited long enough and runs the registry pass. Under the lock,
// so that Close finds every delayed datagram either sent or still in its queue.
void VEX_SSDP::Tick(std::uint32_t elapsed)
{
    const VEXLockGuard hold(mLock);
    SendDelayed(mResponses, elapsed, ssdp::kSparedByAnswers);
    SendDelayed(mRequests, elapsed, ssdp::kSparedByRequests);
    RunRegistryPass(elapsed);
}

void VEX_SSDP::SendDelayed(DelayedQueue &queue, std::uint32_t elapsed, int sparedPercent)
{
    queue.Tick(elapsed, [&](const GETMessageType &datagram) {
        mSocket.WriteSparing(datagram.message.data(), datagram.message.size(), datagram.destination,
                             sparedPercent);
    });
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
