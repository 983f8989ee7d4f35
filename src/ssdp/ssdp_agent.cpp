#include "ssdp/ssdp_agent.h"

#include "formats/description_document.h"
#include "formats/description_exchange.h"
#include "formats/diagnostic_listing.h"
#include "formats/ssdp_messages.h"
#include "formats/usn.h"
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
    std::array<char, 8> digits{};
    const std::to_chars_result end =
        std::to_chars(digits.data(), digits.data() + digits.size(), value, 16);
    return "0x" + std::string(digits.data(), end.ptr);
}

// The model number of a description where it begins with "0x1"; else the board
// that has the model's name. A ZR2 carries another numbering in its documents.
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

// The queues are emptied first: no datagram follows the goodbyes.
void SSDPAgent::Leave(bool announce)
{
    mDocuments.Clear();
    mRegistry.Leave(announce);
    mLink.ClearInterfaces();
}

// The device's own M-SEARCH is deliberately not filtered out: it is answered like
// any other.
std::optional<DocumentRequest> SSDPAgent::ParseSSDPPacket(std::string_view datagram,
                                                          const sockaddr_in &sender,
                                                          std::uint32_t nowMs)
{
    if (!IsOpen()) {
        return std::nullopt;
    }
    switch (formats::ClassifyMethod(datagram)) {
    case Method::Http:
        ParseHTTPResponse(datagram, sender);
        break;
    case Method::Notify: {
        formats::SSDPHeaders headers = formats::ScanHeaders(datagram);
        HandleNotify(headers, sender);
        break;
    }
    case Method::MSearch:
        ProcessMSEARCHRequest(formats::ScanHeaders(datagram).searchTarget, sender, nowMs);
        break;
    case Method::Get: {
        if (mRegistry.AwaitsPublication()) {
            break; // see the header
        }
        DocumentRequest request = mDocuments.ReadGETRequest(datagram, sender, nowMs);
        return request.name.empty() ? std::nullopt : std::make_optional(std::move(request));
    }
    case Method::Unknown:
        mEnvironment.TellFault(
            {"ParseSSDPPacket", ": Don't know what to do with this method:\n", datagram});
        break;
    }
    return std::nullopt;
}

void SSDPAgent::HandleNotify(formats::SSDPHeaders &headers, const sockaddr_in &sender)
{
    formats::NTSHeader &header = headers.notify;
    if (header.nt.empty() || header.usn.empty() || header.location.empty() ||
        mLink.IsOwnAddress(sender.sin_addr)) {
        return;
    }
    header.sender = sender.sin_addr;
    if (headers.kind == NTSKind::Alive) {
        mRegistry.UpdateDevice(header, headers.maxAge);
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

// Answers at once, whatever delay (MX) the request allowed; one datagram for
// each service that matches.
void SSDPAgent::ProcessMSEARCHRequest(std::string_view searchTarget, const sockaddr_in &requester,
                                      std::uint32_t nowMs)
{
    if (searchTarget.empty()) {
        return;
    }
    for (const SSDPDeviceType *service : MatchSearchTarget(HostList(), searchTarget)) {
        SendMSEARCHResponse(*service, requester, nowMs);
    }
}

// An answer that finds no room is lost: the search is repeated by those who need it.
void SSDPAgent::SendMSEARCHResponse(const SSDPDeviceType &service, const sockaddr_in &requester,
                                    std::uint32_t nowMs)
{
    const std::string response = formats::ComposeSearchResponse(service);
    if (mLink.SpendFor(requester.sin_addr, response.size(), nowMs)) {
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
        mEnvironment.TellFault({"ParseHTTPResponse", ": Unable to find the \"uuid\""});
        return;
    case formats::SearchResponse::NoLineEnd:
        mEnvironment.TellFault({"ParseHTTPResponse", ": Unable to retrieve the USN"});
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
        mDocuments.LetPass(elapsedMs);
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
    }
}

void SSDPAgent::ParseSSDPDiagnosticMessages(std::string_view command, std::string &reply)
{
    if (!formats::AnswerCommand(command, HostList(), NodeList(), reply)) {
        mEnvironment.TellFault({"ParseSSDPDiagnosticMessages", ": No such command as ", command});
    }
}

// Answers that wait already may hold the former document, too.
void SSDPAgent::AddService(SSDPDeviceType &service)
{
    mRegistry.AddService(service);
    if (mRegistry.AwaitsPublication()) {
        mDocuments.ClearResponses();
    }
}

void SSDPAgent::RemoveService(const std::string &productName, const std::string &ipAddress,
                              std::uint16_t instance)
{
    mRegistry.RemoveService(formats::MakeUSN(productName, ipAddress, std::to_string(instance)));
}

} // namespace ssdp
