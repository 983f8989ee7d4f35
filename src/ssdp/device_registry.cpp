#include "ssdp/device_registry.h"

#include "formats/browse_document.h"
#include "formats/ssdp_device_type.h"
#include "ssdp/ssdp_tunables.h"
#include "vexbase/vex_text.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace ssdp {
namespace {

using formats::CanBeProxied;
using formats::NTSHeader;

// Marks a record whose texts need escapes. Few records need them; the size of all others is
// calculated from the lengths of their texts. Without this mark, forgetting thousands of
// devices in one pass would take twice as long under the engine's lock.
void NoteEscapes(SSDPDeviceType &device)
{
    device.flag &= static_cast<std::uint8_t>(~record_flag::kEscaped);
    if (formats::SizeOfBrowseObject(device) != formats::SizeOfPlainBrowseObject(device)) {
        device.flag |= record_flag::kEscaped;
    }
}

// The bytes of an entry as they are written to the browse list. The other texts of a
// description count as the registry keeps them: the USN twice, as key and in the record.
// REQUIRES: NoteEscapes was called since the texts changed.
std::size_t WrittenSize(const SSDPDeviceType &device)
{
    const std::size_t object = (device.flag & record_flag::kEscaped) != 0
                                   ? formats::SizeOfBrowseObject(device)
                                   : formats::SizeOfPlainBrowseObject(device);
    return object + 2 * device.usn.size() + device.modelNumber.size() + device.maxAge.size();
}

void SetMaxAge(SSDPDeviceType &device, std::int32_t maxAgeSeconds)
{
    device.maxAge = std::to_string(maxAgeSeconds);
    device.timerPeriod = static_cast<std::uint32_t>(maxAgeSeconds) * kMsPerSecond;
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

bool DeviceRegistry::UpdateDevice(const NTSHeader &header, std::int32_t maxAgeSeconds)
{
    if (!CanBeProxied(header.usn)) {
        return UpdateNeverProxied(header);
    }
    return UpdateProxyable(
        header, std::clamp(maxAgeSeconds, formats::kLeastMaxAge, formats::kLargestMaxAge));
}

// Handles the announcement of a device that is never proxied. A USN without kUsnPrefix is
// ignored. A device gets an entry when its description arrives. Until then each announcement
// causes a request, since requests and descriptions may be lost.
bool DeviceRegistry::UpdateNeverProxied(const NTSHeader &header)
{
    if (header.usn.find(formats::kUsnPrefix) == std::string_view::npos) {
        return false;
    }
    UsnIndex::Slot *known = mNodeList.Find(header.usn);
    if (known == nullptr) {
        mDocuments.SendGETRequest(header.location, header.sender);
        return false;
    }
    SSDPDeviceType &device = known->record->second;
    if (device.modelNumber.empty()) {
        mDocuments.SendGETRequest(header.location, header.sender);
    } else {
        NoteForRefresh(header, known->describedSeconds);
    }
    device.timerCountdown = RefreshedCountdownMs(device.timerPeriod);
    Confirm(known->record);
    return true;
}

// The description of a service that this device announces is not requested: this device
// has written it.
void DeviceRegistry::NoteForRefresh(const NTSHeader &header, std::uint32_t describedSeconds)
{
    if (mRefresh.IsNext(describedSeconds) && mHostList.find(header.usn) == mHostList.end()) {
        mRefresh.SetNext(header, describedSeconds);
        AskAgain();
    }
}

// Asks a known peer for its description again, if one is due and the pause is over.
void DeviceRegistry::AskAgain()
{
    if (const auto peer = mRefresh.TakeNext()) {
        if (UsnIndex::Slot *known = mNodeList.Find(peer->usn)) {
            known->describedSeconds = mRefresh.NowSeconds();
            mDocuments.SendGETRequest(peer->location, peer->sender);
        }
    }
}

void DeviceRegistry::SetTime(std::uint32_t nowMs)
{
    mRefresh.SetTime(nowMs);
    AskAgain();
}

// Handles the announcement of a device that can be proxied. The announcement of an unknown
// one is ignored: it does not cause a request for the description.
bool DeviceRegistry::UpdateProxyable(const NTSHeader &header, std::int32_t maxAgeSeconds)
{
    const auto host = mHostList.find(header.usn);
    if (host != mHostList.end()) {
        HandBack(host, maxAgeSeconds);
        return true;
    }
    const auto node = mNodeList.find(header.usn);
    if (node == mNodeList.end()) {
        return false;
    }
    Uncount(node->second); // its max-age is counted, too
    SetMaxAge(node->second, maxAgeSeconds);
    Count(node->second);
    node->second.timerCountdown = RefreshedCountdownMs(node->second.timerPeriod);
    Confirm(node);
    return true;
}

// Stops proxying a device that now announces itself. This device's own service is
// deliberately treated in the same way. No goodbye is sent, since the device is there. The change
// flag is deliberately not set, even if a byebye had removed the entry.
void DeviceRegistry::HandBack(Iterator host, std::int32_t maxAgeSeconds)
{
    SSDPDeviceType service = std::move(host->second);
    mHostList.erase(host);
    SetMaxAge(service, maxAgeSeconds);
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
    mKnownBytes += WrittenSize(device);
}

void DeviceRegistry::Uncount(const SSDPDeviceType &device)
{
    mKnownBytes -= WrittenSize(device);
}

void DeviceRegistry::Rename(SSDPDeviceType &node, const std::string &hostName)
{
    Uncount(node);
    node.hostName = hostName;
    NoteEscapes(node);
    Count(node);
    mChanged = true;
}

DeviceRegistry::Iterator DeviceRegistry::EraseNode(Iterator node)
{
    Uncount(node->second);
    if (!UnconfirmedNodes::IsConfirmed(node->second)) {
        mUnconfirmed.Remove(node);
    }
    return mNodeList.erase(node);
}

// Adds a trusted record: one that this device announces, or that a caller added. It
// replaces any entry of the same USN, is confirmed, and is never replaced by a new device.
void DeviceRegistry::PutNode(SSDPDeviceType device)
{
    const auto node = mNodeList.find(device.usn);
    if (node != mNodeList.end()) {
        Confirm(node);
        Uncount(node->second);
    }
    NoteEscapes(device);
    Count(device);
    UnconfirmedNodes::MarkConfirmed(device);
    mNodeList.insert_or_assign(std::move(device));
}

// A forged description must neither take the place of a service that is not listed yet
// (it would prevent that service's publication), nor remove a confirmed entry. Therefore
// a description creates no new entry for a service of this device or one that it announces,
// and a confirmed entry stays confirmed.
void DeviceRegistry::EnterDescription(SSDPDeviceType device)
{
    NoteEscapes(device);
    auto node = mNodeList.find(device.usn);
    const bool known = node != mNodeList.end();
    if ((!known && IsOwnOrAnnounced(device.usn)) ||
        !MakeRoom(known ? &node->second : nullptr, device)) {
        return;
    }
    Count(device);
    if (known) {
        Uncount(node->second);
        if (UnconfirmedNodes::IsConfirmed(node->second)) {
            UnconfirmedNodes::MarkConfirmed(device);
        }
        node->second = std::move(device);
    } else {
        node = mNodeList.try_emplace(std::move(device)).first;
        mUnconfirmed.Add(node);
    }
    mNodeList.Find(node->first)->describedSeconds = mRefresh.NowSeconds();
    mChanged = true;
}

// Whether a USN names a service that this device announces, or a service at one of this
// device's addresses.
bool DeviceRegistry::IsOwnOrAnnounced(std::string_view usn) const
{
    const auto &own = mLink.Interfaces();
    return mHostList.find(usn) != mHostList.end() ||
           std::any_of(own.begin(), own.end(), [usn](const auto &interface) {
               return usn.find(vexbase::Concat({"-", interface.first, "-"})) !=
                      std::string_view::npos;
           });
}

// Makes room for a description, which replaces the former record if there is one.
// Removes unconfirmed entries, the oldest first: a real device confirms its entry with
// its next announcement, so only forged entries and very new ones are lost. Returns
// false, and removes none, when all of them together would not be enough.
bool DeviceRegistry::MakeRoom(const SSDPDeviceType *former, const SSDPDeviceType &device)
{
    std::size_t nodes = DiscoveredNodes();
    if (mKnownBytes < kMaxKnownBytes / kMostlyEmptyRegistryShare &&
        nodes < kMaxDiscoveredNodes / kMostlyEmptyRegistryShare) {
        mFullReport.NoteMostlyEmpty();
    }
    nodes += former != nullptr ? 0 : 1;
    const std::size_t needed = mKnownBytes + WrittenSize(device);
    std::size_t freed = former != nullptr ? WrittenSize(*former) : 0;
    std::vector<Iterator> givingWay;
    auto oldest = mUnconfirmed.Nodes().begin();
    while (needed > kMaxKnownBytes + freed || nodes - givingWay.size() > kMaxDiscoveredNodes) {
        mFullReport.NoteFull(mEnvironment);
        if (oldest == mUnconfirmed.Nodes().end()) {
            return false;
        }
        // The record that is to be replaced must stay: the caller still uses it.
        if (&(*oldest)->second != former) {
            freed += WrittenSize((*oldest)->second);
            givingWay.push_back(*oldest);
        }
        ++oldest;
    }
    for (const Iterator node : givingWay) {
        EraseNode(node);
    }
    return true;
}

// The number of known services that this device does not announce. kMaxDiscoveredNodes
// applies only to these, so a flood cannot stop this device from announcing.
std::size_t DeviceRegistry::DiscoveredNodes() const
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
    mRefresh.Clear();
    mNodeList.clear();
    mKnownBytes = 0;
    mPendingAdditions.clear();
    mPendingRemovals.clear();
}

// Empties out first: there are never more than two copies of the list in memory.
bool DeviceRegistry::TakeChange(formats::SSDPDeviceMap &out)
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
