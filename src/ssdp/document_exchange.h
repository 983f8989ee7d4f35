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

// A document that a peer asked for and may have.
struct DocumentRequest
{
    std::string name; // of a file directly in the web root: begins with its only "/"
    sockaddr_in sender{};
};

// DocumentExchange writes the description documents of announced services, asks
// peers for theirs, and answers peers that ask (see formats/description_exchange.h).
// Requests and answers wait a random time. Not thread-safe; it belongs to the
// protocol core.
class DocumentExchange
{
public:
    // REQUIRES: all outlive this.
    DocumentExchange(SSDPEnvironment &environment, OwnLink &link, Timing &timing);

    // Sets the directory of description documents, given without a slash at its
    // end; it must lie under the web root, from which documents are served.
    void SetPath(const std::string &path) { mPath = path + "/"; }

    // Writes the document of a service for one of the device's own addresses, and
    // completes the record: both times, SERVER, USN, LOCATION, file name. False
    // when it could not be written.
    [[nodiscard]] bool GenerateDeviceDescriptionFile(const std::string &interfaceAddress,
                                                     SSDPDeviceType &service);
    // Gives back the number in the name of a description file.
    void ReturnFileNumber(const std::string &descriptionFileName);

    // Queues the request for the document of a LOCATION that an address sent.
    void SendGETRequest(std::string_view url, const in_addr &from);

    // Reads a request for a document. The name is empty when it names none, or
    // when there is no room for an answer now: the file need not be opened.
    [[nodiscard]] DocumentRequest ReadGETRequest(std::string_view request,
                                                 const sockaddr_in &sender, std::uint32_t nowMs);
    // Queues the answer with the document that was asked for.
    void SendGETResponse(const DocumentRequest &request, const ServedDocument &document,
                         std::uint32_t nowMs);

    // Lets elapsed milliseconds pass: what has waited long enough is due.
    void LetPass(std::uint32_t elapsedMs);
    // Sends some of the due datagrams, answers first; true while more are left.
    // Those that find no room in the send buffer wait for the next tick.
    [[nodiscard]] bool SendDue();
    // Forgets the answers that wait to be sent, or everything that does.
    void ClearResponses() { Clear(mResponses); }
    void Clear();

private:
    // What is due of a queue, and how it is sent.
    struct Road
    {
        DelayedQueue queue;
        Urgency urgency;
        std::list<GETMessageType> due;
    };

    [[nodiscard]] bool SendSome(Road &road);
    static void Clear(Road &road);

    SSDPEnvironment &mEnvironment;
    OwnLink &mLink;
    Timing &mTiming;
    std::string mPath; // of description documents, ends in "/"
    Road mResponses;
    Road mRequests;
};

} // namespace ssdp
