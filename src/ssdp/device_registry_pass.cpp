#include "ssdp/device_registry.h"

#include "ssdp/max_age.h"
#include "ssdp/output_line.h"
#include "ssdp/usn.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

// The registry pass: what the receive loop runs at every tick.

using ssdp::CanBeProxied;

namespace {

// Lowers a countdown. It stops at the least value, so that an entry kept for
// weeks after it ran out does not come back to life.
std::int32_t Lower(std::int32_t countdown, std::int32_t elapsed)
{
    const std::int64_t left = static_cast<std::int64_t>(countdown) - elapsed;
    return static_cast<std::int32_t>(
        std::max<std::int64_t>(left, std::numeric_limits<std::int32_t>::min()));
}

// Lowers a record's countdown and tells whether it has run out. That is decided
// one pass early, when what is left would not outlast another pass as long.
bool RunsOut(SSDPDeviceType &device, std::int32_t elapsed)
{
    device.timerCountdown = Lower(device.timerCountdown, elapsed);
    return device.timerCountdown <= elapsed;
}

} // namespace

void DeviceRegistry::UpdateContainers(std::int32_t elapsed)
{
    ApplyWithdrawals();
    for (auto &added : mPendingAdditions) {
        ApplyAddition(added.second);
    }
    mPendingAdditions.clear();
    mPendingRemovals.clear();
    AgeNodes(elapsed);
    AgeOrphanedHosts(elapsed);
}

void DeviceRegistry::ApplyWithdrawals()
{
    for (const auto &[usn, service] : mPendingRemovals) {
        if (mHostList.erase(usn) != 0) {
            mActions.AnnounceGoodbye(service);
            mActions.ReturnFileNumber(service.descriptionFileName);
        }
        if (mNodeList.erase(usn)) {
            mChanged = true;
        }
    }
}

void DeviceRegistry::ApplyAddition(SSDPDeviceType &service)
{
    const auto host = mHostList.find(service.usn);
    if (host != mHostList.end()) {
        RenewHosted(service, host->second);
        return;
    }
    const auto node = mNodeList.find(service.usn);
    if (node == mNodeList.end() && !IsOwnAddress(service.ipAddress)) {
        EnterAdded(service);
    } else if (node == mNodeList.end() || RenewKnown(service, node->second)) {
        Publish(service);
    }
}

// A service that is announced already is added again: it is listed again if a
// byebye took it off the list, and another's is granted its repeats anew and may
// have another name by now.
void DeviceRegistry::RenewHosted(const SSDPDeviceType &service, SSDPDeviceType &host)
{
    const auto [node, relisted] = mNodeList.try_emplace(host);
    mChanged = mChanged || relisted;
    if (IsOwnAddress(service.ipAddress)) {
        return;
    }
    SSDPDeviceType &device = node->second;
    if (device.hostName != service.hostName) {
        device.hostName = service.hostName;
        host.hostName = service.hostName;
        mChanged = true;
    }
    device.repeatCount = ssdp::kProxyRepeats;
}

// Another device's service is added for the first time. One that can be spoken
// for gets two to five ticks to announce itself before it is taken over.
void DeviceRegistry::EnterAdded(SSDPDeviceType &service)
{
    service.timerPeriod = ssdp::GetMaximumAge(service.maxAge);
    if (CanBeProxied(service.usn)) {
        const auto interval = static_cast<long>(mPollInterval);
        service.timerCountdown =
            static_cast<std::int32_t>(random() % (3 * interval) + 2 * interval);
        service.repeatCount = ssdp::kProxyRepeats;
    } else {
        service.timerCountdown = static_cast<std::int32_t>(service.timerPeriod * 2);
        service.repeatCount = 0;
    }
    mNodeList.insert_or_assign(service);
    mChanged = true;
}

// A service that is known but not announced is added again. True when it has
// been silent for so long that it is to be taken over.
bool DeviceRegistry::RenewKnown(const SSDPDeviceType &service, SSDPDeviceType &node)
{
    if (node.hostName != service.hostName) {
        node.hostName = service.hostName;
        mChanged = true;
    }
    if (!CanBeProxied(node.usn)) {
        node.timerCountdown = static_cast<std::int32_t>(node.timerPeriod * 2);
        return false;
    }
    return node.timerCountdown <= 0;
}

// Announces a service of the device's own, or one that it speaks for from now on.
void DeviceRegistry::Publish(SSDPDeviceType &service)
{
    const bool proxied = CanBeProxied(service.usn);
    bool written = false;
    for (const auto &own : mInterfaces) {
        if (mActions.GenerateDeviceDescriptionFile(own.first, service)) {
            written = true;
        } else {
            ssdp::WriteFault({"UpdateContainers", ": Unable to generate a description file for ",
                              service.usn, ", ", service.productName});
        }
    }
    if (!written) {
        return;
    }
    service.repeatCount = proxied ? ssdp::kProxyRepeats : std::uint16_t{0};
    mNodeList.insert_or_assign(service);
    mHostList.insert_or_assign(service.usn, service);
    mChanged = true;
    mActions.AnnounceService(service);
}

// A device that ran out is forgotten, unless it waits to be taken over: that is
// what its repeats tell.
void DeviceRegistry::AgeNodes(std::int32_t elapsed)
{
    mHeardBytes = 0;
    for (auto node = mNodeList.begin(); node != mNodeList.end();) {
        SSDPDeviceType &device = node->second;
        const bool due = RunsOut(device, elapsed);
        const bool hosted = due && mHostList.find(node->first) != mHostList.end();
        if (hosted) {
            RunOutHosted(device);
        }
        if (due && !hosted && device.repeatCount == 0) {
            node = mNodeList.erase(node);
            mChanged = true;
        } else {
            mHeardBytes += SizeOfTexts(device);
            ++node;
        }
    }
}

// An announced service whose node is gone, as after a byebye that anybody may
// have sent, goes on by its own countdown: one datagram must not silence it.
void DeviceRegistry::AgeOrphanedHosts(std::int32_t elapsed)
{
    for (auto &[usn, service] : mHostList) {
        if (!mNodeList.contains(usn) && RunsOut(service, elapsed)) {
            RunOutHosted(service);
        }
    }
}

// An announced service is due: the own one always, another's as long as repeats
// are owed; after that it is withdrawn in the next pass.
void DeviceRegistry::RunOutHosted(SSDPDeviceType &service)
{
    const bool own = IsOwnAddress(service.ipAddress);
    if (!own && service.repeatCount == 0) {
        mPendingRemovals.emplace(service.usn, service);
        return;
    }
    if (!own) {
        --service.repeatCount;
    }
    service.timerCountdown = static_cast<std::int32_t>(service.timerPeriod);
    mActions.AnnounceService(service);
}
