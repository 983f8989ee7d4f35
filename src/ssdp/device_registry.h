#pragma once

#include "formats/ssdp_device_type.h"
#include "formats/ssdp_headers.h"
#include "ssdp/bound_report.h"
#include "ssdp/document_exchange.h"
#include "ssdp/indexed_device_map.h"
#include "ssdp/own_link.h"
#include "ssdp/ssdp_environment.h"
#include "ssdp/timing.h"
#include "ssdp/unconfirmed_nodes.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace ssdp {

// DeviceRegistry remembers which services exist on the network, which of them
// this device announces, and when each must be refreshed, announced again,
// taken over or forgotten. Time comes in as an argument. Not thread-safe; it
// belongs to the protocol core.
class DeviceRegistry
{
public:
    // REQUIRES: all outlive the registry.
    DeviceRegistry(SSDPEnvironment &environment, const OwnLink &link, Timing &timing,
                   DocumentExchange &documents)
        : mEnvironment(environment), mLink(link), mTiming(timing), mDocuments(documents)
    {
    }

    // Completes the record's USN, sets its period to 0 and queues it for the next
    // pass; a record that is queued already is overwritten.
    void AddService(SSDPDeviceType &service);
    // Queues an announced service for withdrawal by its USN, and drops a queued
    // addition of it, which is not announced after its withdrawal.
    void RemoveService(const std::string &usn);
    // The same for every service whose USN contains the prefix and "-".
    void RemoveServicesWithPrefix(std::string_view prefix);

    // A device announced itself by ssdp:alive; maxAge in seconds, any value.
    void UpdateDevice(const formats::NTSHeader &header, std::int32_t maxAge);
    // A device said ssdp:byebye.
    void RemoveDevice(const formats::NTSHeader &header);
    // The description document of a device arrived. It replaces the entry of its
    // USN. A new entry is not made for a service of this device's own, nor when
    // the registry is full of devices that have confirmed themselves.
    void EnterDescription(SSDPDeviceType device);

    // One pass: applies what is queued, lowers every countdown by elapsed
    // milliseconds (0 or more), and handles the entries that ran out.
    void UpdateContainers(std::int32_t elapsedMs);

    // Says goodbye for every announced service if announce is set, gives back the
    // file numbers, and empties all maps, queued changes included.
    void Leave(bool announce);

    // Services that this device announces: its own, and those it proxies.
    [[nodiscard]] const SSDPDeviceMap &HostList() const { return mHostList; }
    // Every service known, the announced ones included.
    [[nodiscard]] const SSDPDeviceMap &NodeList() const { return mNodeList.Map(); }
    // Whether a service is known.
    [[nodiscard]] bool Knows(std::string_view usn) const { return mNodeList.contains(usn); }

    // Whether a service of this device's own waits for its publication.
    [[nodiscard]] bool AwaitsPublication() const;

    // Whether NodeList has changed since the last TakeChange.
    [[nodiscard]] bool Changed() const { return mChanged; }
    // Replaces out by a copy of NodeList, and forgets the change. False, out
    // untouched, when there was none.
    bool TakeChange(SSDPDeviceMap &out);

private:
    using Iterator = SSDPDeviceMap::iterator;

    // device_registry.cpp
    void UpdateSpeaker(const formats::NTSHeader &header);
    void UpdateProxied(const formats::NTSHeader &header, std::int32_t maxAge);
    void HandBack(Iterator host, std::int32_t maxAge);
    void Confirm(Iterator node);
    void Count(const SSDPDeviceType &device);
    void Uncount(const SSDPDeviceType &device);
    Iterator EraseNode(Iterator node);
    void PutNode(SSDPDeviceType device);
    [[nodiscard]] bool MakeRoom(const SSDPDeviceType *former, const SSDPDeviceType &device);
    [[nodiscard]] std::size_t HeardNodes() const;
    [[nodiscard]] bool IsOurs(std::string_view usn) const;

    // device_registry_pass.cpp
    void ApplyWithdrawals();
    void ApplyAddition(SSDPDeviceType &service);
    void RenewHosted(const SSDPDeviceType &service, SSDPDeviceType &host);
    void EnterAdded(SSDPDeviceType &service);
    [[nodiscard]] bool RenewKnown(const SSDPDeviceType &service, SSDPDeviceType &node);
    void Rename(SSDPDeviceType &node, const std::string &hostName);
    void Publish(SSDPDeviceType &service);
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
    SSDPDeviceMap mHostList;
    IndexedDeviceMap mNodeList;
    UnconfirmedNodes mUnconfirmed; // of mNodeList
    std::size_t mWrittenBytes = 0; // of all of mNodeList, as the browse document writes it
    SSDPDeviceMap mPendingAdditions;
    SSDPDeviceMap mPendingRemovals;
    bool mChanged = false;
    BoundReport mHeardBound{"ProcessDescriptionResponse", "devices"};
};

} // namespace ssdp
