#include "ssdp/device_registry.h"

#include "ssdp/concat.h"
#include "ssdp/usn.h"

#include <algorithm>
#include <arpa/inet.h>
#include <utility>

using ssdp::CanBeProxied;
using ssdp::NTSHeader;

void DeviceRegistry::AddInterface(const std::string &address, const std::string &name)
{
    mInterfaces.insert_or_assign(address, name);
    in_addr binary{};
    if (inet_pton(AF_INET, address.c_str(), &binary) == 1) {
        mOwnAddresses.push_back(binary.s_addr);
    }
}

void DeviceRegistry::ClearInterfaces()
{
    mInterfaces.clear();
    mOwnAddresses.clear();
}

bool DeviceRegistry::IsOwnAddress(std::string_view address) const
{
    return mInterfaces.find(address) != mInterfaces.end();
}

bool DeviceRegistry::IsOwnAddress(const in_addr &address) const
{
    return std::find(mOwnAddresses.begin(), mOwnAddresses.end(), address.s_addr) !=
           mOwnAddresses.end();
}

void DeviceRegistry::AddService(SSDPDeviceType &service)
{
    service.usn = ssdp::MakeUSN(service.productName, service.ipAddress, service.instance);
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
    const std::string pattern = ssdp::Concat({prefix, "-"});
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
        HearProxied(header, std::clamp(maxAge, ssdp::kLeastMaxAge, ssdp::kLargestMaxAge));
    } else {
        HearSpeaker(header);
    }
}

// A device that speaks for itself. It enters the registry when its description
// arrives, which is asked for until then at each of its announcements.
void DeviceRegistry::HearSpeaker(const NTSHeader &header)
{
    if (header.usn.find(ssdp::kUsnPrefix) == std::string_view::npos) {
        return;
    }
    const auto node = mNodeList.find(header.usn);
    if (node == mNodeList.end()) {
        mActions.SendGETRequest(header.location);
        return;
    }
    SSDPDeviceType &device = node->second;
    if (device.modelNumber.empty()) {
        mActions.SendGETRequest(header.location);
    }
    device.timerCountdown = static_cast<std::int32_t>(device.timerPeriod * 2);
}

// A device that can be spoken for, heard speaking for itself.
void DeviceRegistry::HearProxied(const NTSHeader &header, std::int32_t maxAge)
{
    const auto host = mHostList.find(header.usn);
    if (host != mHostList.end()) {
        HandBack(host, maxAge);
        return;
    }
    const auto node = mNodeList.find(header.usn);
    if (node != mNodeList.end()) {
        SSDPDeviceType &device = node->second;
        device.maxAge = std::to_string(maxAge);
        device.timerPeriod = static_cast<std::uint32_t>(maxAge) * 1000U;
        device.timerCountdown = maxAge * 2000;
        device.repeatCount = 0;
    }
}

// Stops announcing a device that speaks for itself now. No byebye is due, since
// the device is there, and no change is flagged, since it was listed before. The
// device's own service is nobody's to take: whoever announces it is mistaken.
void DeviceRegistry::HandBack(Iterator host, std::int32_t maxAge)
{
    SSDPDeviceType &service = host->second;
    if (IsOwnAddress(service.ipAddress)) {
        return;
    }
    service.maxAge = std::to_string(maxAge);
    service.timerPeriod = static_cast<std::uint32_t>(maxAge) * 1000U;
    service.timerCountdown = maxAge * 500;
    service.repeatCount = 0;
    mNodeList.insert_or_assign(service);
    mActions.ReturnFileNumber(service.descriptionFileName);
    mHostList.erase(host);
}

void DeviceRegistry::RemoveDevice(const NTSHeader &header)
{
    const auto node = mNodeList.find(header.usn);
    if (node != mNodeList.end()) {
        mNodeList.erase(node);
        mChanged = true;
    }
}

void DeviceRegistry::EnterDescription(SSDPDeviceType device)
{
    if (SpeaksForOwn(device.usn)) {
        return;
    }
    const auto node = mNodeList.find(device.usn);
    const bool known = node != mNodeList.end();
    if (!AdmitDescription(known ? &node->second : nullptr, device)) {
        return;
    }
    if (known) {
        node->second = std::move(device);
    } else {
        mNodeList.try_emplace(std::move(device));
    }
    mChanged = true;
}

std::size_t DeviceRegistry::SizeOfTexts(const SSDPDeviceType &device)
{
    std::size_t size = 0;
    for (const std::string *text :
         {&device.productName, &device.modelName, &device.modelNumber, &device.modelDescription,
          &device.serialNumber, &device.ipAddress, &device.hostName, &device.instance,
          &device.boardID, &device.notificationType, &device.urlScheme, &device.reserved,
          &device.usn, &device.maxAge, &device.location, &device.descriptionFileName,
          &device.server}) {
        size += text->size();
    }
    return size;
}

// Whether a description may be entered, in place of the former one if there is
// one: while no bound is met, or when it is no larger than what it replaces. Once
// the texts fill their bound it is met for any size, so that a flood of large and
// small ones is reported once.
bool DeviceRegistry::AdmitDescription(const SSDPDeviceType *former, const SSDPDeviceType &device)
{
    const bool known = former != nullptr;
    const std::size_t freed = known ? SizeOfTexts(*former) : 0;
    const std::size_t size = SizeOfTexts(device);
    const std::size_t nodes = HeardNodes();
    const bool room =
        (mHeardBytes < ssdp::kMaxHeardBytes && (known || nodes < ssdp::kMaxHeardNodes)) ||
        (known && size <= freed);
    const bool mostlyEmpty =
        mHeardBytes < ssdp::kMaxHeardBytes / 2 && nodes < ssdp::kMaxHeardNodes / 2;
    if (!mHeardBound.Admit(room, mostlyEmpty)) {
        return false;
    }
    mHeardBytes = mHeardBytes - freed + size;
    return true;
}

// Whether a USN names a service that this device announces, or one at one of
// its own addresses.
bool DeviceRegistry::SpeaksForOwn(std::string_view usn) const
{
    return mHostList.find(usn) != mHostList.end() ||
           std::any_of(mInterfaces.begin(), mInterfaces.end(), [usn](const auto &own) {
               return usn.find(ssdp::Concat({"-", own.first, "-"})) != std::string_view::npos;
           });
}

// How many devices have been entered from the network; announced services do not
// count.
std::size_t DeviceRegistry::HeardNodes() const
{
    const auto announced =
        std::count_if(mHostList.begin(), mHostList.end(),
                      [this](const auto &host) { return mNodeList.contains(host.first); });
    return NodeList().size() - static_cast<std::size_t>(announced);
}

void DeviceRegistry::SayGoodbyes(bool announce)
{
    for (const auto &[usn, service] : mHostList) {
        if (announce) {
            mActions.AnnounceGoodbye(service);
        }
        mActions.ReturnFileNumber(service.descriptionFileName);
    }
}

void DeviceRegistry::Clear()
{
    mChanged = mChanged || !NodeList().empty();
    mHostList.clear();
    mNodeList.clear();
    mHeardBytes = 0;
}

bool DeviceRegistry::TakeChange(SSDPDeviceMap &out)
{
    if (!mChanged) {
        return false;
    }
    out = NodeList();
    mChanged = false;
    return true;
}
