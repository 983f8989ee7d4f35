#include "ssdp/device_registry.h"

#include "formats/browse_document.h"
#include "formats/usn.h"
#include "ssdp/ssdp_tunables.h"
#include "vexbase/vex_text.h"

#include <algorithm>
#include <utility>

namespace ssdp {
namespace {

using formats::CanBeProxied;
using formats::NTSHeader;

// What an entry costs us, as the browse document writes it. Its USN and its
// max-age, which that document leaves out, count once.
std::size_t WrittenSize(const SSDPDeviceType &device)
{
    return formats::SizeOfBrowseObject(device) + device.usn.size() + device.maxAge.size();
}

void SetMaxAge(SSDPDeviceType &device, std::int32_t maxAge)
{
    device.maxAge = std::to_string(maxAge);
    device.timerPeriod = static_cast<std::uint32_t>(maxAge) * 1000U;
    device.repeatCount = 0;
}

} // namespace

void DeviceRegistry::AddService(SSDPDeviceType &service)
{
    service.usn = formats::MakeUSN(service.productName, service.ipAddress, service.instance);
    service.timerPeriod = 0;
    mPendingAdditions.insert_or_assign(service.usn, service);
}

void DeviceRegistry::RemoveService(const std::string &usn)
{
    mPendingAdditions.erase(usn);
    const auto host = mHostList.find(usn);
    if (host != mHostList.end()) {
        mPendingRemovals.insert(*host);
    }
}

void DeviceRegistry::RemoveServicesWithPrefix(std::string_view prefix)
{
    const std::string pattern = vexbase::Concat({prefix, "-"});
    for (auto added = mPendingAdditions.begin(); added != mPendingAdditions.end();) {
        added = added->first.find(pattern) != std::string::npos ? mPendingAdditions.erase(added)
                                                                : std::next(added);
    }
    for (const auto &host : mHostList) {
        if (host.first.find(pattern) != std::string::npos) {
            mPendingRemovals.insert(host);
        }
    }
}

void DeviceRegistry::UpdateDevice(const NTSHeader &header, std::int32_t maxAge)
{
    if (CanBeProxied(header.usn)) {
        UpdateProxied(header, std::clamp(maxAge, formats::kLeastMaxAge, formats::kLargestMaxAge));
    } else {
        UpdateSpeaker(header);
    }
}

// A device that always speaks for itself. It enters the registry when its
// description arrives; until then each of its announcements asks for it.
void DeviceRegistry::UpdateSpeaker(const NTSHeader &header)
{
    if (header.usn.find(formats::kUsnPrefix) == std::string_view::npos) {
        return;
    }
    const auto node = mNodeList.find(header.usn);
    if (node == mNodeList.end()) {
        mDocuments.SendGETRequest(header.location, header.sender);
        return;
    }
    SSDPDeviceType &device = node->second;
    if (device.modelNumber.empty()) {
        mDocuments.SendGETRequest(header.location, header.sender);
    }
    device.timerCountdown = RefreshedCountdownMs(device.timerPeriod);
    Confirm(node);
}

// A device that can be proxied announced itself.
void DeviceRegistry::UpdateProxied(const NTSHeader &header, std::int32_t maxAge)
{
    const auto host = mHostList.find(header.usn);
    if (host != mHostList.end()) {
        HandBack(host, maxAge);
        return;
    }
    const auto node = mNodeList.find(header.usn);
    if (node != mNodeList.end()) {
        Uncount(node->second);
        SetMaxAge(node->second, maxAge);
        Count(node->second);
        node->second.timerCountdown = RefreshedCountdownMs(node->second.timerPeriod);
        Confirm(node);
    }
}

// Stops announcing a device that now announces itself, this device's own service
// included. It says no byebye, since the device is there, and flags no change,
// since it was listed before.
void DeviceRegistry::HandBack(Iterator host, std::int32_t maxAge)
{
    SSDPDeviceType service = std::move(host->second);
    mHostList.erase(host);
    SetMaxAge(service, maxAge);
    service.timerCountdown = HandBackCountdownMs(service.timerPeriod);
    mDocuments.ReturnFileNumber(service.descriptionFileName);
    PutNode(std::move(service));
}

void DeviceRegistry::RemoveDevice(const NTSHeader &header)
{
    const auto node = mNodeList.find(header.usn);
    if (node != mNodeList.end()) {
        EraseNode(node);
        mChanged = true;
    }
}

void DeviceRegistry::Confirm(Iterator node)
{
    if (!UnconfirmedNodes::IsConfirmed(node->second)) {
        mUnconfirmed.Remove(node);
        UnconfirmedNodes::MarkConfirmed(node->second);
    }
}

void DeviceRegistry::Count(const SSDPDeviceType &device)
{
    mWrittenBytes += WrittenSize(device);
}

void DeviceRegistry::Uncount(const SSDPDeviceType &device)
{
    mWrittenBytes -= WrittenSize(device);
}

DeviceRegistry::Iterator DeviceRegistry::EraseNode(Iterator node)
{
    Uncount(node->second);
    if (!UnconfirmedNodes::IsConfirmed(node->second)) {
        mUnconfirmed.Remove(node);
    }
    return mNodeList.erase(node);
}

// Enters a record that we vouch for, in place of any that is there.
void DeviceRegistry::PutNode(SSDPDeviceType device)
{
    const auto node = mNodeList.find(device.usn);
    if (node != mNodeList.end()) {
        Confirm(node);
        Uncount(node->second);
    }
    Count(device);
    UnconfirmedNodes::MarkConfirmed(device);
    mNodeList.insert_or_assign(std::move(device));
}

// A service of ours that is not listed is listed by its next publication alone: a
// forged description that is listed first would prevent that publication. An entry
// that an announcement confirmed stays confirmed: a forged description must not
// make it give way.
void DeviceRegistry::EnterDescription(SSDPDeviceType device)
{
    const auto node = mNodeList.find(device.usn);
    const bool known = node != mNodeList.end();
    if ((!known && IsOurs(device.usn)) || !MakeRoom(known ? &node->second : nullptr, device)) {
        return;
    }
    Count(device);
    if (known) {
        Uncount(node->second);
        device.flag = node->second.flag;
        node->second = std::move(device);
    } else {
        mUnconfirmed.Add(mNodeList.try_emplace(std::move(device)).first);
    }
    mChanged = true;
}

// Whether a USN names a service that this device announces, or one at one of its
// own addresses.
bool DeviceRegistry::IsOurs(std::string_view usn) const
{
    const auto &own = mLink.Interfaces();
    return mHostList.find(usn) != mHostList.end() ||
           std::any_of(own.begin(), own.end(), [usn](const auto &interface) {
               return usn.find(vexbase::Concat({"-", interface.first, "-"})) !=
                      std::string_view::npos;
           });
}

// Whether there is room for a description, in place of the former one if there is
// one. Entries that nobody has confirmed give way to it, the oldest first.
bool DeviceRegistry::MakeRoom(const SSDPDeviceType *former, const SSDPDeviceType &device)
{
    const std::size_t freed = former != nullptr ? WrittenSize(*former) : 0;
    const std::size_t size = WrittenSize(device);
    std::size_t nodes = HeardNodes();
    if (mWrittenBytes < kMaxHeardBytes / 2 && nodes < kMaxHeardNodes / 2) {
        mHeardBound.NoteMostlyEmpty();
    }
    nodes += former != nullptr ? 0 : 1;
    while (mWrittenBytes + size > kMaxHeardBytes + freed || nodes > kMaxHeardNodes) {
        mHeardBound.NoteFull(mEnvironment);
        if (mUnconfirmed.Empty() || &mUnconfirmed.Oldest()->second == former) {
            return false;
        }
        EraseNode(mUnconfirmed.Oldest());
        --nodes;
    }
    return true;
}

bool DeviceRegistry::AwaitsPublication() const
{
    return std::any_of(
        mPendingAdditions.begin(), mPendingAdditions.end(), [this](const auto &added) {
            return mLink.IsOwnAddress(added.second.ipAddress) && mHostList.count(added.first) == 0;
        });
}

// How many devices have been entered from the network. Announced services do not
// count.
std::size_t DeviceRegistry::HeardNodes() const
{
    const auto announced =
        std::count_if(mHostList.begin(), mHostList.end(),
                      [this](const auto &host) { return mNodeList.contains(host.first); });
    return NodeList().size() - static_cast<std::size_t>(announced);
}

void DeviceRegistry::Leave(bool announce)
{
    for (const auto &[usn, service] : mHostList) {
        if (announce) {
            AnnounceGoodbye(service);
        }
        mDocuments.ReturnFileNumber(service.descriptionFileName);
    }
    mChanged = mChanged || !NodeList().empty();
    mHostList.clear();
    mUnconfirmed.Clear();
    mNodeList.clear();
    mWrittenBytes = 0;
    mPendingAdditions.clear();
    mPendingRemovals.clear();
}

// Empties out first: at no time are there more than two copies of the list.
bool DeviceRegistry::TakeChange(SSDPDeviceMap &out)
{
    if (!mChanged) {
        return false;
    }
    out.clear();
    out = NodeList();
    mChanged = false;
    return true;
}

} // namespace ssdp
