#include "beaconctl/monitor_message.h"

#include "beaconctl/sources.h"
#include "formats/description_document.h"
#include "formats/ssdp_headers.h"
#include "formats/ssdp_messages.h"
#include "vexbase/vex_text.h"

namespace beaconctl {
namespace {

using formats::Method;
using formats::NTSKind;
using formats::SSDPHeaders;
using vexbase::Concat;

constexpr std::string_view kDocumentMark = "_upnp_ssdp_"; // in the names of documents

bool Contains(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

// The product of a USN, "uuid:65746500-" PRODUCT "-" ADDRESS "-" INSTANCE; empty if the USN is
// not of this form.
std::string_view ProductOfUSN(std::string_view usn)
{
    const std::size_t prefix = usn.find(formats::kUsnPrefix);
    const std::size_t instance = usn.rfind('-');
    if (prefix == std::string_view::npos || instance == 0) {
        return {};
    }
    const std::size_t start = prefix + std::string_view(formats::kUsnPrefix).size();
    const std::size_t address = usn.rfind('-', instance - 1);
    return address == std::string_view::npos || address < start
               ? std::string_view()
               : usn.substr(start, address - start);
}

// The name of the header that a NOTIFY lacks; empty if it is complete.
std::string_view MissingHeader(const formats::NTSHeader &header)
{
    if (header.nt.empty()) {
        return "NT";
    }
    if (header.usn.empty()) {
        return "USN";
    }
    return header.location.empty() ? "LOCATION" : "";
}

std::string_view IfForeign(bool foreign)
{
    return foreign ? "; another maker's device: ignored" : "";
}

std::string MeaningOfNotify(const SSDPHeaders &headers)
{
    const std::string_view missing = MissingHeader(headers.notify);
    if (!missing.empty()) {
        return Concat({"announcement without ", missing, ": ignored"});
    }
    switch (headers.kind) {
    case NTSKind::Alive:
        return Concat({"announces itself for ", std::to_string(headers.maxAge), " s",
                       IfForeign(!Contains(headers.notify.usn, formats::kUsnPrefix) &&
                                 !formats::CanBeProxied(headers.notify.usn))});
    case NTSKind::Byebye:
        return "says goodbye";
    case NTSKind::Unknown:
        break;
    }
    return "neither ssdp:alive nor ssdp:byebye: ignored";
}

Message Begin(std::string_view method)
{
    Message message;
    message.method = method;
    return message;
}

Message DescribeNotify(std::string_view text)
{
    const SSDPHeaders headers = formats::ScanHeaders(text);
    Message message = Begin("NOTIFY");
    message.type = headers.notify.nt;
    message.usn = headers.notify.usn;
    message.location = headers.notify.location;
    message.product = ProductKey(ProductOfUSN(headers.notify.usn));
    message.meaning = MeaningOfNotify(headers);
    return message;
}

std::string_view MeaningOfSearch(std::string_view target)
{
    if (target.empty()) {
        return "search without ST: ignored";
    }
    if (target == "ssdp:all") {
        return "searches for every service";
    }
    return Contains(target, "uuid:") ? "searches for the service with this USN"
                                     : "searches for services of this type";
}

Message DescribeSearch(std::string_view text)
{
    const SSDPHeaders headers = formats::ScanHeaders(text);
    Message message = Begin("M-SEARCH");
    message.type = headers.searchTarget;
    message.product = ProductKey(ProductOfUSN(headers.searchTarget));
    message.meaning = MeaningOfSearch(headers.searchTarget);
    return message;
}

Message DescribeDocument(const Datagram &datagram)
{
    Message message = Begin("HTTP");
    const auto device = formats::ReadDescription(datagram.text);
    if (!device) {
        message.meaning = "description without friendlyName or UDN: ignored";
        return message;
    }
    message.usn = device->usn;
    message.product = ProductKey(device->modelName);
    message.meaning = Concat({"describes \"", device->hostName, "\" (", device->modelName, ") to ",
                              AddressText(datagram.to)});
    return message;
}

Message DescribeAnswer(const Datagram &datagram)
{
    Message message = Begin("HTTP");
    message.type = formats::ScanHeaders(datagram.text).searchTarget;
    message.location = formats::ReadSearchResponseLocation(datagram.text);
    std::string_view usn;
    if (formats::ReadSearchResponseUSN(datagram.text, usn) != formats::SearchResponse::Read) {
        message.meaning = "search answer without a USN: ignored";
        return message;
    }
    message.usn = usn;
    message.product = ProductKey(ProductOfUSN(usn));
    message.meaning = Concat({"answers a search of ", AddressText(datagram.to),
                              IfForeign(!Contains(usn, formats::kVexMark))});
    return message;
}

Message DescribeRequest(const Datagram &datagram)
{
    Message message = Begin("GET");
    std::string_view name = formats::RequestedName(datagram.text);
    if (name.empty()) {
        message.meaning = "request without the name of a document: ignored";
        return message;
    }
    name.remove_prefix(1); // "/"
    const std::size_t mark = name.rfind(kDocumentMark);
    message.product = name.substr(0, mark == std::string_view::npos ? 0 : mark);
    message.meaning = Concat({"asks ", AddressText(datagram.to), " for its description, ", name});
    return message;
}

Message Describe(const Datagram &datagram)
{
    switch (formats::ClassifyMethod(datagram.text)) {
    case Method::Notify:
        return DescribeNotify(datagram.text);
    case Method::MSearch:
        return DescribeSearch(datagram.text);
    case Method::Http: // as in the daemon: only descriptions have this header
        return Contains(datagram.text, "CONTENT-LANGUAGE") ? DescribeDocument(datagram)
                                                           : DescribeAnswer(datagram);
    case Method::Get:
        return DescribeRequest(datagram);
    case Method::Unknown:
        break;
    }
    Message message;
    message.meaning = "not SSDP: ignored";
    return message;
}

} // namespace

Message DescribeDatagram(const Datagram &datagram)
{
    Message message = Describe(datagram);
    message.meaning += datagram.cut ? "; cut" : "";
    return message;
}

std::string ProductKey(std::string_view product)
{
    std::string name = formats::DescriptionFileName(product, 0);
    name.erase(name.rfind(kDocumentMark));
    return name;
}

bool IsWanted(const Datagram &datagram, const Message &message, const std::string &address,
              const std::string &product)
{
    return (address.empty() || AddressText(datagram.from) == address ||
            AddressText(datagram.to) == address) &&
           (product.empty() || message.product == ProductKey(product));
}

} // namespace beaconctl
