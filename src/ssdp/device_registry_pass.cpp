#include "formats/browse_document.h"
#include "formats/ssdp_device_type.h"
#include "formats/ssdp_messages.h"
#include "ssdp/device_registry.h"
#include "ssdp/ssdp_tunables.h"

#include <utility>

// The registry pass: what the receive loop runs at every tick.

namespace ssdp {
namespace {

using formats::CanBeProxied;

// Whether a countdown has run out. That is decided one pass early, when what is
// left would not outlast another pass of the same length.
bool HasRunOut(const SSDPDeviceType &device, std::int32_t elapsedMs)
{
    return device.timerCountdown <= elapsedMs;
}

} // namespace

void DeviceRegistry::UpdateContainers(std::int32_t elapsedMs)
{
    ApplyWithdrawals();
    for (auto &added : mPendingAdditions) {
        ApplyAddition(added.second);
    }
    mPendingAdditions.clear();
    mPendingRemovals.clear();
    AgeNodes(elapsedMs);
    AgeHosts(elapsedMs);
}

void DeviceRegistry::ApplyWithdrawals()
{
    for (const auto &[usn, service] : mPendingRemovals) {
        if (mHostList.erase(usn) != 0) {
            AnnounceGoodbye(service);
            mDocuments.ReturnFileNumber(service.descriptionFileName);
        }
        const auto node = mNodeList.find(usn);
        if (node != mNodeList.end()) {
            EraseNode(node);
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
    if (node == mNodeList.end() && !mLink.IsOwnAddress(service.ipAddress)) {
        EnterAdded(service);
    } else if (node == mNodeList.end() || RenewKnown(service, node->second)) {
        Publish(service);
    }
}

// A service that is announced already is added again. The device's own is listed
// again if a byebye took it off the list. A proxied one gets its repeats back, and
// may have another name by now, but only while it is listed.
void DeviceRegistry::RenewHosted(const SSDPDeviceType &service, SSDPDeviceType &host)
{
    const auto node = mNodeList.find(service.usn);
    if (mLink.IsOwnAddress(service.ipAddress)) {
        if (node == mNodeList.end()) {
            PutNode(host);
            mChanged = true;
        }
        return;
    }
    if (node == mNodeList.end()) {
        return;
    }
    if (node->second.hostName != service.hostName) {
        host.hostName = service.hostName;
        Rename(node->second, service.hostName);
    }
    node->second.repeatCount = kProxyRepeats;
    host.repeatCount = kProxyRepeats;
}

// Another device's service is added for the first time. One that can be proxied
// has two to five ticks to announce itself before it is taken over.
void DeviceRegistry::EnterAdded(SSDPDeviceType &service)
{
    service.timerPeriod = mTiming.GetMaximumAge(service.maxAge);
    if (CanBeProxied(service.usn)) {
        service.timerCountdown = mTiming.DrawTakeOverWaitMs();
        service.repeatCount = kProxyRepeats;
    } else {
        service.timerCountdown = RefreshedCountdownMs(service.timerPeriod);
        service.repeatCount = 0;
    }
    PutNode(service);
    mChanged = true;
}

// A service that is known but not announced is added again. True when it has
// been silent for so long that it is to be taken over.
bool DeviceRegistry::RenewKnown(const SSDPDeviceType &service, SSDPDeviceType &node)
{
    if (node.hostName != service.hostName) {
        Rename(node, service.hostName);
    }
    if (!CanBeProxied(node.usn)) {
        node.timerCountdown = RefreshedCountdownMs(node.timerPeriod);
        return false;
    }
    return node.timerCountdown <= 0;
}

void DeviceRegistry::Rename(SSDPDeviceType &node, const std::string &hostName)
{
    Uncount(node);
    node.hostName = hostName;
    Count(node);
    mChanged = true;
}

// Announces a service of the device's own, or one that it proxies from now on.
void DeviceRegistry::Publish(SSDPDeviceType &service)
{
    bool written = false;
    for (const auto &own : mLink.Interfaces()) {
        if (mDocuments.GenerateDeviceDescriptionFile(own.first, service)) {
            written = true;
        } else {
            mEnvironment.TellFault({"UpdateContainers",
                                    ": Unable to generate a description file for ", service.usn,
                                    ", ", service.productName});
        }
    }
    if (!written) {
        return;
    }
    service.repeatCount = CanBeProxied(service.usn) ? kProxyRepeats : std::uint16_t{0};
    UnconfirmedNodes::MarkConfirmed(service);
    mHostList.insert_or_assign(service.usn, service);
    PutNode(service);
    mChanged = true;
    AnnounceService(service);
}

// Forgets a device that ran out, unless it waits to be taken over: its repeats say
// that. An announced service does not run out here.
void DeviceRegistry::AgeNodes(std::int32_t elapsedMs)
{
    for (auto node = mNodeList.begin(); node != mNodeList.end();) {
        SSDPDeviceType &device = node->second;
        device.timerCountdown = LoweredCountdownMs(device.timerCountdown, elapsedMs);
        if (HasRunOut(device, elapsedMs) && device.repeatCount == 0 &&
            mHostList.find(node->first) == mHostList.end()) {
            node = EraseNode(node);
            mChanged = true;
        } else {
            ++node;
        }
    }
}

// Announces what ran out, by HostList alone: nothing that arrives in the name of
// an announced service delays, stops or changes its announcements.
void DeviceRegistry::AgeHosts(std::int32_t elapsedMs)
{
    for (auto &[usn, service] : mHostList) {
        service.timerCountdown = LoweredCountdownMs(service.timerCountdown, elapsedMs);
        if (!HasRunOut(service, elapsedMs)) {
            continue;
        }
        if (mLink.IsOwnAddress(service.ipAddress)) {
            AnnounceOwn(service);
        } else {
            AnnounceProxied(service);
        }
    }
}

// The list gets the announced record back, if a description in our name has
// replaced it.
void DeviceRegistry::AnnounceOwn(SSDPDeviceType &service)
{
    service.timerCountdown = static_cast<std::int32_t>(service.timerPeriod);
    AnnounceService(service);
    const auto node = mNodeList.find(service.usn);
    if (node != mNodeList.end()) {
        mChanged = mChanged || !formats::AreListedAlike(node->second, service);
        PutNode(service);
    }
}

// A proxied service is announced until its repeats are used up; after that it is
// withdrawn in the next pass.
void DeviceRegistry::AnnounceProxied(SSDPDeviceType &service)
{
    if (service.repeatCount == 0) {
        mPendingRemovals.emplace(service.usn, service);
        return;
    }
    --service.repeatCount;
    service.timerCountdown = static_cast<std::int32_t>(service.timerPeriod);
    AnnounceService(service);
    const auto node = mNodeList.find(service.usn);
    if (node != mNodeList.end()) {
        node->second.repeatCount = service.repeatCount;
        node->second.timerCountdown = service.timerCountdown;
    }
}

void DeviceRegistry::AnnounceService(const SSDPDeviceType &service)
{
    mEnvironment.Multicast(formats::ComposeAlive(service));
}

void DeviceRegistry::AnnounceGoodbye(const SSDPDeviceType &service)
{
    mEnvironment.Multicast(formats::ComposeGoodbye(service));
}

} // namespace ssdp
