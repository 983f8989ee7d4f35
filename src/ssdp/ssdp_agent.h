#pragma once

#include "formats/ssdp_device_type.h"
#include "formats/ssdp_headers.h"
#include "ssdp/device_registry.h"
#include "ssdp/document_exchange.h"
#include "ssdp/known_alives.h"
#include "ssdp/own_link.h"
#include "ssdp/ssdp_environment.h"
#include "ssdp/timing.h"

#include <cstddef>
#include <cstdint>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <string_view>

namespace ssdp {

// SSDPAgent is the protocol core: it handles received datagrams, ticks, the start and
// the departure (UPnP Device Architecture 1.0, section 1, with the description
// exchange of formats/description_document.h in place of HTTP). It knows no socket,
// thread, lock, clock or file: its environment sends and writes, and time is an
// argument. Equal calls with equal random numbers give equal datagrams.
//
// Not thread-safe: its owner holds one lock during each call. No call waits, except for
// the files of published documents.
//
// nowMs is a reading of a millisecond clock that may wrap.
class SSDPAgent
{
public:
    // REQUIRES: the environment outlives the agent.
    explicit SSDPAgent(SSDPEnvironment &environment);

    // Adds an interface: from now on datagrams are handled and sent. netmask as in
    // OwnLink.
    void AddInterface(const std::string &address, const std::string &name, in_addr netmask);
    // Whether the agent has an interface. Without an interface it ignores datagrams and
    // sends none.
    [[nodiscard]] bool IsOpen() const { return !mLink.Interfaces().empty(); }
    [[nodiscard]] std::size_t InterfaceCount() const { return mLink.Interfaces().size(); }

    // Begins a run: draws the poll interval, runs the first registry pass and sends one
    // search.
    void Start();
    [[nodiscard]] std::uint32_t PollIntervalMs() const { return mTiming.PollIntervalMs(); }

    // Ends a run: drops the datagrams that wait to be sent, sends the goodbyes if
    // announce is set, removes the interfaces and empties the registry.
    void Leave(bool announce);

    // Handles one datagram. If it is a valid request for a document, returns the request: the
    // caller reads the file without its lock, and passes request and file to SendGETResponse.
    [[nodiscard]] std::optional<DocumentRequest>
    ParseSSDPPacket(std::string_view datagram, const sockaddr_in &sender, std::uint32_t nowMs);
    void SendGETResponse(const DocumentRequest &request, const ServedDocument &document,
                         std::uint32_t nowMs);

    // A tick has three steps: BeginTick; SendDue until it returns false (the owner may
    // release its lock between two calls); UpdateContainers.
    void BeginTick(std::uint32_t elapsedMs);
    [[nodiscard]] bool SendDue();
    void UpdateContainers(std::uint32_t elapsedMs);

    // Answers a diagnostic command of two bytes.
    void ParseSSDPDiagnosticMessages(std::string_view command, std::string &reply);

    // See VEX_SSDP.
    void SetPath(const std::string &path) { mDocuments.SetPath(path); }
    void AddService(SSDPDeviceType &service) { mRegistry.AddService(service); }
    void RemoveService(const std::string &productName, const std::string &ipAddress,
                       std::uint16_t instance);
    void RemoveService(const std::string &prefix) { mRegistry.RemoveServicesWithPrefix(prefix); }

    [[nodiscard]] const formats::SSDPDeviceMap &HostList() const { return mRegistry.HostList(); }
    [[nodiscard]] const formats::SSDPDeviceMap &NodeList() const { return mRegistry.NodeList(); }
    [[nodiscard]] bool Changed() const { return mRegistry.Changed(); }
    bool TakeChange(formats::SSDPDeviceMap &out) { return mRegistry.TakeChange(out); }

private:
    void HandleNotify(std::string_view datagram, const sockaddr_in &sender);
    void SendMSEARCHRequest(std::string_view searchTarget);
    void ProcessMSEARCHRequest(std::string_view searchTarget, const sockaddr_in &requester,
                               std::uint32_t nowMs);
    void SendMSEARCHResponse(const SSDPDeviceType &service, const sockaddr_in &requester);
    void ParseHTTPResponse(std::string_view data, const sockaddr_in &sender);
    void ProcessDescriptionResponse(std::string_view text);

    SSDPEnvironment &mEnvironment;
    OwnLink mLink;
    Timing mTiming;
    DocumentExchange mDocuments;
    DeviceRegistry mRegistry;
    KnownAlives mKnownAlives;
};

} // namespace ssdp
