#include "ssdp/ssdp_agent.h"

#include "formats/description_document.h"
#include "formats/diagnostic_listing.h"
#include "formats/ssdp_device_type.h"
#include "formats/ssdp_messages.h"
#include "product/product_id.h"
#include "ssdp/search_target.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <utility>

namespace ssdp {
namespace {

using formats::Method;
using formats::NTSKind;

// "0x" and lower-case hexadecimal digits without leading zeros.
std::string HexText(std::uint32_t value)
{
    constexpr int kHexadecimal = 16;
    std::array<char, 2 * sizeof value> digits{};
    const std::to_chars_result end =
        std::to_chars(digits.data(), digits.data() + digits.size(), value, kHexadecimal);
    return "0x" + std::string(digits.data(), end.ptr);
}

// The model number of a description if it begins with "0x1", otherwise the board
// identifier of the model's name. The documents of a ZR2 use another numbering, so for
// a ZR2 the name always decides.
std::string NormalisedModelNumber(const SSDPDeviceType &device)
{
    if (device.modelName != "ZR2" && device.modelNumber.compare(0, 3, "0x1") == 0) {
        return device.modelNumber;
    }
    return HexText(CProductID::GetBoardIDFromModelName(device.modelName));
}

} // namespace

SSDPAgent::SSDPAgent(SSDPEnvironment &environment)
    : mEnvironment(environment),
      mTiming(environment),
      mDocuments(environment, mLink, mTiming),
      mRegistry(environment, mLink, mTiming, mDocuments)
{
}

void SSDPAgent::AddInterface(const std::string &address, const std::string &name, in_addr netmask)
{
    mLink.AddInterface(address, name, netmask);
}

void SSDPAgent::Start()
{
    mTiming.DrawPollInterval();
    UpdateContainers(0);
    SendMSEARCHRequest(formats::kRootDevice);
}

// The queues are emptied first: no datagram may follow the goodbyes.
void SSDPAgent::Leave(bool announce)
{
    mDocuments.Clear();
    mRegistry.Leave(announce);
    mKnownAlives.Limit(0);
    mLink.ClearInterfaces();
}

// This device receives its own M-SEARCH, too. It is deliberately answered like any
// other.
std::optional<DocumentRequest> SSDPAgent::ParseSSDPPacket(std::string_view datagram,
                                                          const sockaddr_in &sender,
                                                          std::uint32_t nowMs)
{
    if (!IsOpen()) {
        return std::nullopt;
    }
    mRegistry.SetTime(nowMs);
    switch (formats::ClassifyMethod(datagram)) {
    case Method::Http:
        ParseHTTPResponse(datagram, sender);
        break;
    case Method::Notify:
        HandleNotify(datagram, sender);
        break;
    case Method::MSearch:
        ProcessMSEARCHRequest(formats::ScanHeaders(datagram).searchTarget, sender, nowMs);
        break;
    case Method::Get: {
        DocumentRequest request = mDocuments.ReadGETRequest(datagram, sender, nowMs);
        return request.name.empty() ? std::nullopt : std::make_optional(std::move(request));
    }
    case Method::Unknown:
        mEnvironment.ReportFault(
            {"ParseSSDPPacket", ": Don't know what to do with this method:\n", datagram});
        break;
    }
    return std::nullopt;
}

// A NOTIFY from one of this device's addresses is its own message, which multicast
// brings back.
void SSDPAgent::HandleNotify(std::string_view datagram, const sockaddr_in &sender)
{
    if (mLink.IsOwnAddress(sender.sin_addr)) {
        return;
    }
    const formats::SSDPHeaders *kept = mKnownAlives.Find(datagram);
    formats::SSDPHeaders headers = kept != nullptr ? *kept : formats::ScanHeaders(datagram);
    formats::NTSHeader &header = headers.notify;
    if (header.nt.empty() || header.usn.empty() || header.location.empty()) {
        return;
    }
    header.sender = sender.sin_addr;
    if (headers.kind == NTSKind::Alive) {
        const bool known = mRegistry.UpdateDevice(header, headers.maxAge);
        if (known && kept == nullptr) {
            mKnownAlives.Keep(datagram, headers, MostKnownAlives(NodeList().size()));
        }
    } else if (headers.kind == NTSKind::Byebye) {
        mRegistry.RemoveDevice(header);
    }
}

void SSDPAgent::SendMSEARCHRequest(std::string_view searchTarget)
{
    if (IsOpen()) {
        mEnvironment.Multicast(formats::ComposeSearchRequest(searchTarget));
    }
}

// Answers at once, without the random delay up to MX seconds of UPnP Device
// Architecture 1.0, section 1.2.3. Each service that matches gets its own datagram.
void SSDPAgent::ProcessMSEARCHRequest(std::string_view searchTarget, const sockaddr_in &requester,
                                      std::uint32_t nowMs)
{
    if (searchTarget.empty()) {
        return;
    }
    mLink.RefillBudget(nowMs);
    for (const SSDPDeviceType *service : MatchSearchTarget(HostList(), searchTarget)) {
        SendMSEARCHResponse(*service, requester);
    }
}

// An answer that finds no room in the send buffer is lost. UDP may lose any answer, so
// searchers repeat their search.
void SSDPAgent::SendMSEARCHResponse(const SSDPDeviceType &service, const sockaddr_in &requester)
{
    const std::string response = formats::ComposeSearchResponse(service);
    if (mLink.SpendFor(requester.sin_addr, response.size())) {
        static_cast<void>(mEnvironment.SendTo(requester, response, Urgency::Answer));
    }
}

void SSDPAgent::SendGETResponse(const DocumentRequest &request, const ServedDocument &document,
                                std::uint32_t nowMs)
{
    if (IsOpen()) {
        mDocuments.SendGETResponse(request, document, nowMs);
    }
}

// Search responses and GET responses both begin with "HTTP". Only GET responses, which carry
// description documents, have CONTENT-LANGUAGE.
void SSDPAgent::ParseHTTPResponse(std::string_view data, const sockaddr_in &sender)
{
    if (mLink.IsOwnAddress(sender.sin_addr)) {
        return;
    }
    if (data.find("CONTENT-LANGUAGE") != std::string_view::npos) {
        ProcessDescriptionResponse(data);
        return;
    }
    std::string_view usn;
    switch (formats::ReadSearchResponseUSN(data, usn)) {
    case formats::SearchResponse::NoUuid:
        mEnvironment.ReportFault({"ParseHTTPResponse", ": Unable to find the \"uuid\""});
        return;
    case formats::SearchResponse::NoLineEnd:
        mEnvironment.ReportFault({"ParseHTTPResponse", ": Unable to retrieve the USN"});
        return;
    case formats::SearchResponse::Read:
        break;
    }
    if (!mRegistry.Knows(usn) && usn.find(formats::kVexMark) != std::string_view::npos) {
        mDocuments.SendGETRequest(formats::ReadSearchResponseLocation(data), sender.sin_addr);
    }
}

void SSDPAgent::ProcessDescriptionResponse(std::string_view text)
{
    std::optional<SSDPDeviceType> device = formats::ReadDescription(text);
    if (!device) {
        return;
    }
    device->modelNumber = NormalisedModelNumber(*device);
    device->boardID = device->modelNumber;
    device->timerPeriod = mTiming.GetMaximumAge(device->maxAge);
    device->timerCountdown = RefreshedCountdownMs(device->timerPeriod);
    mRegistry.EnterDescription(std::move(*device));
}

void SSDPAgent::BeginTick(std::uint32_t elapsedMs)
{
    if (IsOpen()) {
        mDocuments.CollectDue(elapsedMs);
    }
}

bool SSDPAgent::SendDue()
{
    return mDocuments.SendDue();
}

void SSDPAgent::UpdateContainers(std::uint32_t elapsedMs)
{
    constexpr std::uint32_t kLongest = std::numeric_limits<std::int32_t>::max();
    if (IsOpen()) {
        mRegistry.UpdateContainers(static_cast<std::int32_t>(std::min(elapsedMs, kLongest)));
        mKnownAlives.Limit(MostKnownAlives(NodeList().size()));
    }
}

void SSDPAgent::ParseSSDPDiagnosticMessages(std::string_view command, std::string &reply)
{
    if (!formats::AnswerCommand(command, HostList(), NodeList(), reply)) {
        mEnvironment.ReportFault({"ParseSSDPDiagnosticMessages", ": No such command as ", command});
    }
}

void SSDPAgent::RemoveService(const std::string &productName, const std::string &ipAddress,
                              std::uint16_t instance)
{
    mRegistry.RemoveService(formats::MakeUSN(productName, ipAddress, std::to_string(instance)));
}

} // namespace ssdp
