#include "ssdp/output_line.h"
#include "ssdp/tick_clock.h"
#include "ssdp/vex_ssdp.h"
#include "vexbase/vex_time.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ctime>
#include <limits>

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
    while (!mThread.Terminate() && ReceiveUntilTick(clock)) {
        Tick(clock.Elapsed());
        clock.Start(VEXTime::GetSystemTime());
    }
}

// Receives until the tick is over; false when the thread is asked to stop.
bool VEX_SSDP::ReceiveUntilTick(ssdp::TickClock &clock)
{
    std::array<char, ssdp::kReceiveSize + 1> buffer{};
    do {
        if (mThread.Terminate()) {
            return false;
        }
        sockaddr_in sender{};
        const std::size_t length =
            mSocket.Poll(buffer.data(), ssdp::kReceiveSize, sender, clock.Interval());
        if (length > 0) {
            buffer[length] = '\0';
            ParseSSDPPacket(buffer.data(), static_cast<std::int64_t>(length), sender);
        }
    } while (!clock.IsOver(VEXTime::GetSystemTime()));
    return true;
}

// Sends what has waited long enough and runs the registry pass. Under the lock,
// so that Close finds every delayed datagram either sent or still in its queue.
void VEX_SSDP::Tick(std::uint32_t elapsed)
{
    const VEXLockGuard hold(mLock);
    SendDelayed(mResponses, elapsed);
    SendDelayed(mRequests, elapsed);
    RunRegistryPass(elapsed);
}

void VEX_SSDP::SendDelayed(DelayedQueue &queue, std::uint32_t elapsed)
{
    queue.Tick(elapsed, [this](const GETMessageType &datagram) {
        mSocket.Write(datagram.message.data(), datagram.message.size(), datagram.destination);
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
