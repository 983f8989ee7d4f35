#include "ssdp/document_exchange.h"

#include "formats/description_document.h"
#include "formats/description_exchange.h"
#include "formats/usn.h"
#include "ssdp/ssdp_tunables.h"
#include "vexbase/vex_text.h"

#include <arpa/inet.h>
#include <utility>

namespace ssdp {
namespace {

bool ReadAddress(const std::string &text, in_addr &address)
{
    return text.find('\0') == std::string::npos && inet_pton(AF_INET, text.c_str(), &address) == 1;
}

} // namespace

DocumentExchange::DocumentExchange(SSDPEnvironment &environment, OwnLink &link, Timing &timing)
    : mEnvironment(environment),
      mLink(link),
      mTiming(timing),
      mResponses{{environment, kMaxDelayedResponses, "SendGETResponse", "delayed responses"},
                 Urgency::Answer,
                 {}},
      mRequests{{environment, kMaxDelayedRequests, "SendGETRequest", "delayed requests"},
                Urgency::Request,
                {}}
{
}

bool DocumentExchange::GenerateDeviceDescriptionFile(const std::string &interfaceAddress,
                                                     SSDPDeviceType &service)
{
    static_cast<void>(mTiming.GetMaximumAge(service.maxAge));
    service.timerPeriod = mTiming.DrawAnnouncePeriodMs();
    service.timerCountdown = static_cast<std::int32_t>(service.timerPeriod);
    const std::uint32_t number = mEnvironment.Files().GetFileNumber();
    if (number == 0) {
        mEnvironment.TellFault({"GetFileNumber", ": Unable to generate a file number"});
        return false;
    }
    const std::string fileName = formats::DescriptionFileName(service.productName, number);
    service.server = formats::kServer;
    service.usn = formats::MakeUSN(service.productName, service.ipAddress, service.instance);
    service.location = vexbase::Concat({"http://", interfaceAddress, ":80/", fileName});
    service.descriptionFileName = mPath + fileName;
    const bool written = mEnvironment.Files().Write(
        service.descriptionFileName,
        formats::ComposeDescription(service, fileName, BEACOND_MAKER_URL));
    if (!written) {
        mEnvironment.TellFault(
            {"GenerateDeviceDescriptionFile", ": Failed to open the SSDP XML file"});
    }
    return written;
}

void DocumentExchange::ReturnFileNumber(const std::string &descriptionFileName)
{
    mEnvironment.Files().ReturnFileNumber(descriptionFileName);
}

void DocumentExchange::SendGETRequest(std::string_view url, const in_addr &from)
{
    std::string address;
    if (!formats::AddressOfLocation(url, address)) {
        mEnvironment.TellFault({"SendGETRequest", ": Unable to find the http string"});
        return;
    }
    GETMessageType request;
    request.holder = from.s_addr;
    request.destination.sin_family = AF_INET;
    request.destination.sin_port = htons(formats::kPort);
    in_addr &peer = request.destination.sin_addr;
    if (!ReadAddress(address, peer) || !mLink.CanBePeer(peer)) {
        mEnvironment.TellFault({"SendGETRequest", ": Invalid IP address: \"", address, "\""});
        return;
    }
    request.message = formats::ComposeGETRequest(url, address);
    request.delay = mTiming.DrawExchangeDelayMs();
    mRequests.queue.Add(std::move(request));
}

DocumentRequest DocumentExchange::ReadGETRequest(std::string_view request,
                                                 const sockaddr_in &sender, std::uint32_t nowMs)
{
    const std::string_view name = formats::RequestedName(request.substr(0, request.find('\0')));
    const bool room = mResponses.queue.HasRoomFor(sender.sin_addr.s_addr) &&
                      mLink.CanSpendFor(sender.sin_addr, formats::kReceiveSize, nowMs);
    return {room ? std::string(name) : std::string(), sender};
}

// A document that fits no datagram is not served.
void DocumentExchange::SendGETResponse(const DocumentRequest &request,
                                       const ServedDocument &document, std::uint32_t nowMs)
{
    GETMessageType response;
    response.holder = request.sender.sin_addr.s_addr;
    response.destination = request.sender;
    response.message = formats::ComposeGETResponse(document.text, document.bytes);
    if (response.message.size() > formats::kMaxDatagram ||
        !mLink.SpendFor(request.sender.sin_addr, response.message.size(), nowMs)) {
        return;
    }
    response.delay = mTiming.DrawExchangeDelayMs();
    mResponses.queue.Add(std::move(response));
}

void DocumentExchange::LetPass(std::uint32_t elapsedMs)
{
    for (Road *road : {&mResponses, &mRequests}) {
        road->due.splice(road->due.end(), road->queue.TakeDue(elapsedMs));
    }
}

bool DocumentExchange::SendDue()
{
    return SendSome(mResponses) || SendSome(mRequests);
}

// Once one datagram finds no room the others find none either.
bool DocumentExchange::SendSome(Road &road)
{
    for (int left = kSentAtOnce; left > 0 && !road.due.empty(); --left) {
        const GETMessageType &datagram = road.due.front();
        if (!mEnvironment.SendTo(datagram.destination, datagram.message, road.urgency)) {
            road.queue.PutBack(std::exchange(road.due, {}));
            return false;
        }
        road.due.pop_front();
    }
    return !road.due.empty();
}

void DocumentExchange::Clear()
{
    Clear(mResponses);
    Clear(mRequests);
}

void DocumentExchange::Clear(Road &road)
{
    road.queue.Clear();
    road.due.clear();
}

} // namespace ssdp
