#include "formats/browse_document.h"
#include "formats/ssdp_device_type.h"
#include "formats/ssdp_messages.h"
#include "ssdp/device_registry.h"
#include "ssdp/ssdp_tunables.h"

#include <iterator>
#include <utility>

// The registry pass, which the receive loop runs at every tick.

namespace ssdp {
namespace {

using formats::CanBeProxied;

// Whether a record's countdown has run out. This is decided one pass early: the record
// would run out before the next pass, if the next tick is as long as the last one.
bool HasRunOut(const SSDPDeviceType &device, std::int32_t elapsedMs)
{
    return device.timerCountdown <= elapsedMs;
}

// Whether a known device has used up its time to announce itself.
bool IsReadyForTakeOver(const SSDPDeviceType &node)
{
    return CanBeProxied(node.usn) && node.timerCountdown <= 0;
}

} // namespace

// Removals come first: for a service that is removed and added again between two passes, a
// goodbye is sent, and then an announcement with the new fields.
void DeviceRegistry::UpdateContainers(std::int32_t elapsedMs)
{
    ApplyRemovals();
    for (auto &added : mPendingAdditions) {
        ApplyAddition(added.second);
    }
    mPendingAdditions.clear();
    mPendingRemovals.clear();
    AgeNodes(elapsedMs);
    AgeHosts(elapsedMs);
}

void DeviceRegistry::ApplyRemovals()
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
        UpdateAnnounced(service, host->second);
        return;
    }
    const auto node = mNodeList.find(service.usn);
    if (node != mNodeList.end()) {
        UpdateKnown(service, node->second);
        if (IsReadyForTakeOver(node->second)) {
            Publish(service);
        }
    } else if (mLink.IsOwnAddress(service.ipAddress)) {
        Publish(service);
    } else {
        AddForeign(service);
    }
}

// Handles the addition of a service that is announced already. This device's own service becomes
// known again if a byebye has removed it from NodeList. For a proxied service that is still known:
// resets repeatCount, and copies the host name.
void DeviceRegistry::UpdateAnnounced(const SSDPDeviceType &service, SSDPDeviceType &host)
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

// Adds a service of another device that is not known yet. If it can be proxied, it gets
// some ticks to announce itself. An addition after that takes it over (ApplyAddition).
void DeviceRegistry::AddForeign(SSDPDeviceType &service)
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

// Handles the addition of a service that is known but not announced. A device that can be
// proxied is not refreshed: only its own announcements show that it needs no proxy.
void DeviceRegistry::UpdateKnown(const SSDPDeviceType &service, SSDPDeviceType &node)
{
    if (node.hostName != service.hostName) {
        Rename(node, service.hostName);
    }
    if (!CanBeProxied(node.usn)) {
        node.timerCountdown = RefreshedCountdownMs(node.timerPeriod);
    }
}

// Begins to announce this device's own service, or a service that it proxies from now
// on. Without a description document nothing is announced: peers could not read it.
void DeviceRegistry::Publish(SSDPDeviceType &service)
{
    bool written = false;
    for (const auto &own : mLink.Interfaces()) {
        if (mDocuments.GenerateDeviceDescriptionFile(own.first, service)) {
            written = true;
        } else {
            mEnvironment.ReportFault({"UpdateContainers",
                                      ": Unable to generate a description file for ", service.usn,
                                      ", ", service.productName});
        }
    }
    if (!written) {
        return;
    }
    service.repeatCount = CanBeProxied(service.usn) ? kProxyRepeats : std::uint16_t{0};
    mHostList.insert_or_assign(service.usn, service);
    PutNode(service);
    mChanged = true;
    AnnounceService(service);
}

// Whether a known device is forgotten in this pass. Two kinds stay: a device that waits to be
// taken over (its repeatCount is not 0), and an announced service, which AgeHosts handles.
bool DeviceRegistry::IsForgotten(const SSDPDeviceType &node, std::int32_t elapsedMs) const
{
    return HasRunOut(node, elapsedMs) && node.repeatCount == 0 &&
           mHostList.find(node.usn) == mHostList.end();
}

// Lowers the countdowns, then forgets the devices that ran out, in key order. Most passes
// forget none. The countdowns have a loop of their own, which is faster because it needs no
// order.
void DeviceRegistry::AgeNodes(std::int32_t elapsedMs)
{
    bool forgets = false;
    mNodeList.ForEach([this, elapsedMs, &forgets](SSDPDeviceType &node) {
        node.timerCountdown = LoweredCountdownMs(node.timerCountdown, elapsedMs);
        forgets = forgets || IsForgotten(node, elapsedMs);
    });
    for (auto node = mNodeList.begin(); forgets && node != mNodeList.end();) {
        node = IsForgotten(node->second, elapsedMs) ? EraseNode(node) : std::next(node);
    }
    mChanged = mChanged || forgets;
}

// Announces the services that ran out. HostList alone decides when and what: of all received
// datagrams, only one that causes a hand-back can delay, stop or change the announcements of this
// device's own service.
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

// Announces this device's own service again. NodeList gets the announced record back, in case a
// forged description has replaced it.
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

// Announces a proxied service again until its repeats are used up, then queues its
// removal for the next pass.
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
