#include "ssdp/document_exchange.h"

#include "formats/description_document.h"
#include "formats/ssdp_device_type.h"
#include "ssdp/ssdp_tunables.h"
#include "vexbase/vex_text.h"

#include <arpa/inet.h>
#include <utility>

namespace ssdp {
namespace {

// inet_pton would stop at a NUL and accept the text before it.
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
        mEnvironment.ReportFault({"GetFileNumber", ": Unable to generate a file number"});
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
        mEnvironment.ReportFault(
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
        mEnvironment.ReportFault({"SendGETRequest", ": Unable to find the http string"});
        return;
    }
    GETMessageType request;
    request.holder = mLink.HolderOf(from);
    request.destination.sin_family = AF_INET;
    request.destination.sin_port = htons(formats::kPort);
    in_addr &peer = request.destination.sin_addr;
    if (!ReadAddress(address, peer) || !mLink.CanBePeer(peer)) {
        mEnvironment.ReportFault({"SendGETRequest", ": Invalid IP address: \"", address, "\""});
        return;
    }
    request.message = formats::ComposeGETRequest(url, address);
    request.delay = mTiming.DrawExchangeDelayMs();
    mRequests.queue.Add(std::move(request));
}

DocumentRequest DocumentExchange::ReadGETRequest(std::string_view request,
                                                 const sockaddr_in &sender, std::uint32_t nowMs)
{
    DocumentRequest wanted{std::string(), sender};
    mLink.RefillBudget(nowMs);
    if (!mResponses.queue.HasRoomFor(mLink.HolderOf(sender.sin_addr))) {
        mResponses.queue.ReportFull();
    } else if (mLink.CanSpendFor(sender.sin_addr, formats::kReceiveSize)) {
        wanted.name = formats::RequestedName(request.substr(0, request.find('\0')));
    }
    return wanted;
}

// Before the file was read, the budget was checked for an answer of usual size. Now the
// size is known, and the bytes are spent.
void DocumentExchange::SendGETResponse(const DocumentRequest &request,
                                       const ServedDocument &document, std::uint32_t nowMs)
{
    GETMessageType response;
    response.holder = mLink.HolderOf(request.sender.sin_addr);
    response.destination = request.sender;
    response.message = formats::ComposeGETResponse(document.text, document.bytes);
    mLink.RefillBudget(nowMs);
    if (response.message.size() > formats::kMaxDatagram ||
        !mLink.SpendFor(request.sender.sin_addr, response.message.size())) {
        return;
    }
    response.delay = mTiming.DrawExchangeDelayMs();
    mResponses.queue.Add(std::move(response));
}

void DocumentExchange::CollectDue(std::uint32_t elapsedMs)
{
    for (Outbox *outbox : {&mResponses, &mRequests}) {
        outbox->due.splice(outbox->due.end(), outbox->queue.TakeDue(elapsedMs));
    }
}

bool DocumentExchange::SendDue()
{
    return SendSome(mResponses) || SendSome(mRequests);
}

// If one datagram has no room in the send buffer, the others of its urgency have none
// either. All of them are given back to the queue, which keeps them for three ticks.
bool DocumentExchange::SendSome(Outbox &outbox)
{
    for (int left = kSentAtOnce; left > 0 && !outbox.due.empty(); --left) {
        const GETMessageType &datagram = outbox.due.front();
        if (!mEnvironment.SendTo(datagram.destination, datagram.message, outbox.urgency)) {
            outbox.queue.PutBack(std::exchange(outbox.due, {}));
            return false;
        }
        outbox.due.pop_front();
    }
    return !outbox.due.empty();
}

void DocumentExchange::Clear()
{
    for (Outbox *outbox : {&mResponses, &mRequests}) {
        outbox->queue.Clear();
        outbox->due.clear();
    }
}

} // namespace ssdp
