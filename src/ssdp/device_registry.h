#pragma once

#include "ssdp/bound_report.h"
#include "ssdp/indexed_device_map.h"
#include "ssdp/ssdp_device_type.h"
#include "ssdp/ssdp_headers.h"
#include "ssdp/ssdp_protocol.h"

#include <cstdint>
#include <functional>
#include <map>
#include <netinet/in.h>
#include <string>
#include <string_view>
#include <vector>

// What the registry asks the engine to do. Called with the engine's lock held.
class RegistryActions
{
public:
    RegistryActions() = default;
    virtual ~RegistryActions() = default;
    RegistryActions(const RegistryActions &) = delete;
    RegistryActions &operator=(const RegistryActions &) = delete;

    // Sends one alive or byebye for a service.
    virtual void AnnounceService(const SSDPDeviceType &service) = 0;
    virtual void AnnounceGoodbye(const SSDPDeviceType &service) = 0;
    // Writes the description document of a service for one of the device's own
    // addresses and completes the record; false when it could not be written.
    virtual bool GenerateDeviceDescriptionFile(const std::string &interfaceAddress,
                                               SSDPDeviceType &service) = 0;
    // Gives back the number in the name of a description file.
    virtual void ReturnFileNumber(const std::string &descriptionFileName) = 0;
    // Asks a peer for its description document.
    virtual void SendGETRequest(std::string_view url) = 0;
};

// DeviceRegistry remembers which services exist on the network, which of them
// this device announces, and when each must be refreshed, announced again,
// taken over or forgotten.
//
// It owns no lock, clock or socket: time comes in as an argument, and what is
// to be sent or written goes out through RegistryActions. It belongs to the
// engine, whose lock guards it whole.
class DeviceRegistry
{
public:
    // Address to interface name.
    using InterfaceMap = std::map<std::string, std::string, std::less<>>;

    // REQUIRES: actions outlives the registry.
    explicit DeviceRegistry(RegistryActions &actions) : mActions(actions) {}

    // The device's own addresses. A record with one of them is its own service.
    void AddInterface(const std::string &address, const std::string &name);
    void ClearInterfaces();
    [[nodiscard]] const InterfaceMap &Interfaces() const { return mInterfaces; }
    [[nodiscard]] bool IsOwnAddress(std::string_view address) const;
    [[nodiscard]] bool IsOwnAddress(const in_addr &address) const;

    // The receive loop's tick in milliseconds, from which the times of silent
    // devices are drawn.
    void SetPollInterval(std::uint32_t milliseconds) { mPollInterval = milliseconds; }

    // Completes the record's USN and queues it for the next pass; a record
    // that is queued already is overwritten.
    void AddService(SSDPDeviceType &service);
    // Queues an announced service for withdrawal by its USN, and drops a queued
    // addition of it, so that it is not announced after its withdrawal.
    void RemoveService(const std::string &usn);
    // The same for every service whose USN contains the prefix and "-".
    void RemoveServicesWithPrefix(std::string_view prefix);

    // A device was heard with ssdp:alive; maxAge in seconds, any value.
    void UpdateDevice(const ssdp::NTSHeader &header, std::int32_t maxAge);
    // A device was heard with ssdp:byebye.
    void RemoveDevice(const ssdp::NTSHeader &header);
    // A device's description document was read. Dropped when it describes a
    // service that this device itself announces, or one at its own address,
    // since nobody else can know better; and when the registry is full.
    void EnterDescription(SSDPDeviceType device);

    // One pass: applies what is queued, ages every entry by elapsed milliseconds
    // (0 or more), and sees to those that ran out.
    void UpdateContainers(std::int32_t elapsed);

    // Says goodbye to every announced service and gives back its file number.
    void SayGoodbyes(bool announce);
    // Forgets every service, announced or heard, but not what is queued.
    void Clear();

    // Services that this device announces: its own, and those it speaks for.
    [[nodiscard]] const SSDPDeviceMap &HostList() const { return mHostList; }
    // Every service known, the announced ones included.
    [[nodiscard]] const SSDPDeviceMap &NodeList() const { return mNodeList.Map(); }
    // Whether a service is known.
    [[nodiscard]] bool Knows(std::string_view usn) const { return mNodeList.contains(usn); }

    // Whether NodeList has changed since the last TakeChange.
    [[nodiscard]] bool Changed() const { return mChanged; }
    // Copies NodeList to out and forgets the change. False, out untouched, when
    // there was none.
    bool TakeChange(SSDPDeviceMap &out);

private:
    using Iterator = SSDPDeviceMap::iterator;

    void HearSpeaker(const ssdp::NTSHeader &header);
    void HearProxied(const ssdp::NTSHeader &header, std::int32_t maxAge);
    void HandBack(Iterator host, std::int32_t maxAge);
    [[nodiscard]] std::size_t HeardNodes() const;
    [[nodiscard]] static std::size_t SizeOfTexts(const SSDPDeviceType &device);
    [[nodiscard]] bool AdmitDescription(const SSDPDeviceType *former, const SSDPDeviceType &device);
    [[nodiscard]] bool SpeaksForOwn(std::string_view usn) const;

    void ApplyWithdrawals();
    void ApplyAddition(SSDPDeviceType &service);
    void RenewHosted(const SSDPDeviceType &service, SSDPDeviceType &host);
    void EnterAdded(SSDPDeviceType &service);
    [[nodiscard]] bool RenewKnown(const SSDPDeviceType &service, SSDPDeviceType &node);
    void Publish(SSDPDeviceType &service);
    void AgeNodes(std::int32_t elapsed);
    void AgeOrphanedHosts(std::int32_t elapsed);
    void RunOutHosted(SSDPDeviceType &service);

    RegistryActions &mActions;
    InterfaceMap mInterfaces;
    std::vector<in_addr_t> mOwnAddresses; // the keys of mInterfaces, to compare senders with
    std::uint32_t mPollInterval = ssdp::kPollIntervalBase;
    SSDPDeviceMap mHostList;
    IndexedDeviceMap mNodeList;
    std::size_t mHeardBytes = 0; // texts in mNodeList: counted in each pass, and entered since
    SSDPDeviceMap mPendingAdditions;
    SSDPDeviceMap mPendingRemovals;
    bool mChanged = false;
    BoundReport mHeardBound{"ProcessDescriptionResponse", "devices"};
};
