#include "simulation/link.h"

#include <algorithm>

namespace simulation {
namespace {

// The headers of Ethernet (with its gap and preamble), IPv4 and UDP.
constexpr std::int64_t kHeaderBytes = 66;
// net.core.wmem_default; the kernel counts its overhead for each datagram, too.
constexpr std::size_t kSendBuffer = 212'992;
constexpr std::size_t kCountedBytes = 2304;
constexpr std::int64_t kMillion = 1'000'000;

Micros TimeOf(std::int64_t bits, std::int64_t bitsPerSecond)
{
    return (bits * kSecond + bitsPerSecond - 1) / bitsPerSecond;
}

LinkSettings Wifi()
{
    LinkSettings wifi;
    wifi.shared = true;
    wifi.bitsPerSecond = 65 * kMillion;
    wifi.multicastBitsPerSecond = 6 * kMillion;
    wifi.overhead = 100;
    wifi.delay = 500;
    wifi.jitter = 2 * kMillisecond;
    wifi.multicastWait = 102 * kMillisecond;
    wifi.multicastLossPerMillion = kMillion / 100;
    return wifi;
}

} // namespace

std::optional<LinkSettings> LinkPreset(std::string_view name)
{
    if (name == "wired") {
        return LinkSettings();
    }
    return name == "wifi" ? std::make_optional(Wifi()) : std::nullopt;
}

Link::Port &Link::PortOf(std::uint32_t machine)
{
    if (machine >= mPorts.size()) {
        mPorts.resize(machine + 1);
    }
    return mPorts[machine];
}

// On a shared medium a datagram is transmitted twice: to the access point and from it. Only the
// second transmission of multicast has the lower rate.
Micros Link::TransmissionTime(bool multicast, std::size_t bytes) const
{
    const std::int64_t bits = 8 * (static_cast<std::int64_t>(bytes) + kHeaderBytes);
    const Micros once = mSettings.overhead + TimeOf(bits, mSettings.bitsPerSecond);
    if (!mSettings.shared) {
        return once;
    }
    return once + mSettings.overhead +
           TimeOf(bits, multicast ? mSettings.multicastBitsPerSecond : mSettings.bitsPerSecond);
}

std::optional<Micros> Link::Send(std::uint32_t machine, bool multicast, std::size_t bytes,
                                 Micros at, int sparedPercent)
{
    Port &port = PortOf(machine);
    while (!port.departures.empty() && port.departures.front() <= at) {
        port.departures.pop_front();
    }
    const std::size_t room = kSendBuffer * static_cast<std::size_t>(100 - sparedPercent) / 100;
    if ((port.departures.size() + 1) * kCountedBytes > room) {
        return std::nullopt;
    }
    Micros &freeAt = mSettings.shared ? mMediumFreeAt : port.freeAt;
    const Micros time = TransmissionTime(multicast, bytes);
    freeAt = std::max(freeAt, at) + time;
    mBusy += time;
    port.departures.push_back(freeAt);
    const Micros wait = multicast ? mChance.Below(mSettings.multicastWait) : 0;
    Micros &last =
        multicast && mSettings.multicastWait != 0 ? port.lastMulticast : port.lastArrival;
    last = std::max(last, freeAt + mSettings.delay + mChance.Below(mSettings.jitter) + wait);
    return last;
}

Micros Link::ArrivalFromSwitch(std::uint32_t machine, std::size_t bytes, Micros at)
{
    if (mSettings.shared) {
        return at;
    }
    Port &port = PortOf(machine);
    port.receivingUntil = std::max(port.receivingUntil, at) + TransmissionTime(false, bytes);
    return port.receivingUntil;
}

// The Gilbert model: in one state every multicast datagram is lost, in the other none. A burst
// ends with the probability 1 / meanBurst. The probability that one begins is calculated from the
// average loss.
bool Link::Loses(std::uint32_t machine, bool multicast)
{
    if (!multicast) {
        return mChance.Happens(mSettings.unicastLossPerMillion);
    }
    const std::int64_t loss = mSettings.multicastLossPerMillion;
    if (loss == 0) {
        return false;
    }
    if (mSettings.meanBurst == 1) {
        return mChance.Happens(loss);
    }
    Port &port = PortOf(machine);
    if (port.losing) {
        port.losing = !mChance.Happens(kMillion / mSettings.meanBurst);
    } else {
        port.losing = mChance.Happens(loss * kMillion / (kMillion - loss) / mSettings.meanBurst);
    }
    return port.losing;
}

Micros Link::ReorderingDelay()
{
    return mChance.Happens(mSettings.reorderPerMillion) ? 1 + mChance.Below(mSettings.reorderDelay)
                                                        : 0;
}

} // namespace simulation
