#pragma once

#include "formats/ssdp_device_type.h"
#include "formats/ssdp_headers.h"
#include "ssdp/description_refresh.h"
#include "ssdp/device_map.h"
#include "ssdp/document_exchange.h"
#include "ssdp/flood_limits.h"
#include "ssdp/own_link.h"
#include "ssdp/ssdp_environment.h"
#include "ssdp/timing.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace ssdp {

// DeviceRegistry records which services exist on the network, which of them this
// device announces, and when each must be refreshed, announced again, taken over or
// forgotten. A service is known when it is in NodeList, and announced when it is in
// HostList. Time is an argument. Not thread-safe; it belongs to the protocol core.
//
// Some devices can be proxied (formats::CanBeProxied). The first addition of such a device gives
// it time to announce itself. If it stays silent, the next addition after that time takes it
// over: this device announces it from then on.
class DeviceRegistry
{
public:
    // REQUIRES: all outlive the registry.
    DeviceRegistry(SSDPEnvironment &environment, const OwnLink &link, Timing &timing,
                   DocumentExchange &documents)
        : mEnvironment(environment), mLink(link), mTiming(timing), mDocuments(documents)
    {
    }

    // Completes the record's USN, sets its period to 0 and queues it for the next pass.
    // Replaces a queued record of the same USN.
    void AddService(SSDPDeviceType &service);
    // Queues the removal of an announced service by its USN. Drops a queued addition of
    // it: it must not be announced after its removal.
    void RemoveService(const std::string &usn);
    // The same for every service whose USN contains the prefix, followed by "-".
    void RemoveServicesWithPrefix(std::string_view prefix);

    // Takes a reading of a millisecond clock that may wrap. Call it before each datagram is
    // handled. Asks a known peer for its description again, if its turn has come.
    void SetTime(std::uint32_t nowMs);
    // Handles an ssdp:alive. Any max-age is allowed. Returns whether the device is known.
    bool UpdateDevice(const formats::NTSHeader &header, std::int32_t maxAgeSeconds);
    // Handles an ssdp:byebye.
    void RemoveDevice(const formats::NTSHeader &header);
    // Handles a received description document: it replaces the entry of its USN, or
    // creates a new one. No new entry is created for a service of this device, or for one that
    // it announces. If the registry is full of confirmed entries, a document
    // that needs more room is ignored.
    void EnterDescription(SSDPDeviceType device);

    // One pass: applies queued removals and additions, lowers every countdown by
    // elapsed milliseconds (0 or more), and handles the entries that ran out.
    void UpdateContainers(std::int32_t elapsedMs);

    // Sends a goodbye for every announced service if announce is set, frees the file
    // numbers, and empties all maps, including queued additions and removals.
    void Leave(bool announce);

    // The services that this device announces: its own, and those it proxies.
    [[nodiscard]] const formats::SSDPDeviceMap &HostList() const { return mHostList; }
    // All known services, including announced ones.
    [[nodiscard]] const formats::SSDPDeviceMap &NodeList() const { return mNodeList.Map(); }
    // Whether a service is known.
    [[nodiscard]] bool Knows(std::string_view usn) const { return mNodeList.contains(usn); }

    // Whether NodeList has changed since the last TakeChange.
    [[nodiscard]] bool Changed() const { return mChanged; }
    // Replaces out by a copy of NodeList and clears the change flag. Returns false and
    // leaves out unchanged if there was no change.
    bool TakeChange(formats::SSDPDeviceMap &out);

private:
    using Iterator = formats::SSDPDeviceMap::iterator;

    // device_registry.cpp
    bool UpdateNeverProxied(const formats::NTSHeader &header);
    bool UpdateProxyable(const formats::NTSHeader &header, std::int32_t maxAgeSeconds);
    void NoteForRefresh(const formats::NTSHeader &header, std::uint32_t describedSeconds);
    void AskAgain();
    void HandBack(Iterator host, std::int32_t maxAgeSeconds);
    void Confirm(Iterator node);
    void Count(const SSDPDeviceType &device);
    void Uncount(const SSDPDeviceType &device);
    void Rename(SSDPDeviceType &node, const std::string &hostName);
    Iterator EraseNode(Iterator node);
    void PutNode(SSDPDeviceType device);
    [[nodiscard]] bool MakeRoom(const SSDPDeviceType *former, const SSDPDeviceType &device);
    [[nodiscard]] std::size_t DiscoveredNodes() const;
    [[nodiscard]] bool IsOwnOrAnnounced(std::string_view usn) const;

    // device_registry_pass.cpp
    void ApplyRemovals();
    void ApplyAddition(SSDPDeviceType &service);
    void UpdateAnnounced(const SSDPDeviceType &service, SSDPDeviceType &host);
    void AddForeign(SSDPDeviceType &service);
    void UpdateKnown(const SSDPDeviceType &service, SSDPDeviceType &node);
    void Publish(SSDPDeviceType &service);
    [[nodiscard]] bool IsForgotten(const SSDPDeviceType &node, std::int32_t elapsedMs) const;
    void AgeNodes(std::int32_t elapsedMs);
    void AgeHosts(std::int32_t elapsedMs);
    void AnnounceOwn(SSDPDeviceType &service);
    void AnnounceProxied(SSDPDeviceType &service);
    void AnnounceService(const SSDPDeviceType &service);
    void AnnounceGoodbye(const SSDPDeviceType &service);

    SSDPEnvironment &mEnvironment;
    const OwnLink &mLink;
    Timing &mTiming;
    DocumentExchange &mDocuments;
    formats::SSDPDeviceMap mHostList;
    IndexedDeviceMap mNodeList;
    UnconfirmedNodes mUnconfirmed; // of mNodeList
    std::size_t mKnownBytes = 0;   // of mNodeList: the sum of WrittenSize
    DescriptionRefresh mRefresh;
    formats::SSDPDeviceMap mPendingAdditions;
    formats::SSDPDeviceMap mPendingRemovals;
    bool mChanged = false;
    BoundReport mFullReport{"ProcessDescriptionResponse", "devices"};
};

} // namespace ssdp
