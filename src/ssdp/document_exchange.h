#pragma once

#include "formats/ssdp_device_type.h"
#include "ssdp/delayed_queue.h"
#include "ssdp/own_link.h"
#include "ssdp/ssdp_environment.h"
#include "ssdp/timing.h"

#include <cstdint>
#include <list>
#include <netinet/in.h>
#include <string>
#include <string_view>

namespace ssdp {

// A peer's request for a document.
struct DocumentRequest
{
    std::string name; // begins with its only "/": a file directly in the web root
    sockaddr_in sender{};
};

// DocumentExchange writes the description documents of announced services, requests
// the documents of peers, and answers their requests (formats/description_document.h).
// Requests and answers wait a random time before they are sent. Not thread-safe; it
// belongs to the protocol core.
class DocumentExchange
{
public:
    // REQUIRES: all outlive this.
    DocumentExchange(SSDPEnvironment &environment, OwnLink &link, Timing &timing);

    // Sets the directory of description documents, without a slash at its end. It must
    // be the web root (formats::kWebRoot), from which documents are served.
    void SetPath(const std::string &path) { mPath = path + "/"; }

    // Writes the document of a service for one address of this device, and completes
    // the record: max-age, period, countdown, SERVER, USN, LOCATION, file name. Returns
    // false when there is no file number, or the file could not be opened.
    [[nodiscard]] bool GenerateDeviceDescriptionFile(const std::string &interfaceAddress,
                                                     SSDPDeviceType &service);
    // Frees the number in the name of a description file.
    void ReturnFileNumber(const std::string &descriptionFileName);

    // Queues a request for the document of a LOCATION. from is the address that sent
    // the LOCATION.
    void SendGETRequest(std::string_view url, const in_addr &from);

    // Reads a request for a document. The result's name is empty when the request names no
    // document, or when the answer has no room or no budget now: then the file is not opened.
    [[nodiscard]] DocumentRequest ReadGETRequest(std::string_view request,
                                                 const sockaddr_in &sender, std::uint32_t nowMs);
    // Queues the answer with the requested document, if the budget allows it.
    void SendGETResponse(const DocumentRequest &request, const ServedDocument &document,
                         std::uint32_t nowMs);

    // Collects the datagrams whose delay ends within elapsed milliseconds. They are
    // due, and SendDue sends them.
    void CollectDue(std::uint32_t elapsedMs);
    // Sends up to kSentAtOnce due answers and, when no answer is left, up to kSentAtOnce due
    // requests. Returns true while more are due. Datagrams without room in the send buffer
    // wait for the next tick.
    [[nodiscard]] bool SendDue();
    // Drops all datagrams that wait to be sent.
    void Clear();

private:
    // Waiting and due datagrams of one urgency.
    struct Outbox
    {
        DelayedQueue queue;
        Urgency urgency;
        std::list<GETMessageType> due;
    };

    [[nodiscard]] bool SendSome(Outbox &outbox);

    SSDPEnvironment &mEnvironment;
    OwnLink &mLink;
    Timing &mTiming;
    std::string mPath; // of description documents, ends in "/"
    Outbox mResponses;
    Outbox mRequests;
};

} // namespace ssdp
