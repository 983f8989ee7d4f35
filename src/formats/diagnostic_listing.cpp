#include "formats/diagnostic_listing.h"

#include "formats/ssdp_protocol.h"
#include "vexbase/vex_text.h"

#include <array>

namespace formats {
namespace {

constexpr std::string_view kStart = "\n  ProductName:\"";
constexpr std::string_view kHostNameLabel = "\"\n  HostName:   \"";
constexpr std::string_view kAddressLabel = "\"\n  IP:         ";
constexpr std::string_view kUsnLabel = "\n  USN:        ";
constexpr std::string_view kEnd = "\n";
// The end of an entry and the start of the next.
constexpr std::string_view kBoundary = "\n\n  ProductName:\"";

struct Label
{
    std::string_view text;
    std::string SSDPDeviceType::*field; // the field after it
};

constexpr std::array<Label, 3> kLabels{{{kHostNameLabel, &SSDPDeviceType::hostName},
                                        {kAddressLabel, &SSDPDeviceType::ipAddress},
                                        {kUsnLabel, &SSDPDeviceType::usn}}};

// Each text of an entry comes from one description, a datagram of at most kReceiveSize
// bytes. Its elements may overlap, so each of the four texts may be that long.
constexpr std::size_t kLargestEntry = kStart.size() + kHostNameLabel.size() + kAddressLabel.size() +
                                      kUsnLabel.size() + kEnd.size() + 4 * kReceiveSize;

// Reads an entry without its start and its end.
SSDPDeviceType ReadEntry(std::string_view text)
{
    SSDPDeviceType service;
    std::string SSDPDeviceType::*field = &SSDPDeviceType::productName;
    for (const Label &label : kLabels) {
        const std::size_t at = text.find(label.text);
        if (at != std::string_view::npos) {
            service.*field = text.substr(0, at);
            text.remove_prefix(at + label.text.size());
            field = label.field;
        }
    }
    service.*field = text;
    return service;
}

bool StartsWith(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

} // namespace

void AssembleList(const SSDPDeviceMap &list, std::string &out, std::size_t maxSize)
{
    for (const auto &[usn, device] : list) {
        const std::size_t whole = out.size();
        vexbase::Append(out, {kStart, device.productName, kHostNameLabel, device.hostName,
                              kAddressLabel, device.ipAddress, kUsnLabel, device.usn, kEnd});
        if (out.size() > maxSize) {
            out.resize(whole);
            return;
        }
    }
}

bool AnswerCommand(std::string_view command, const SSDPDeviceMap &hosts, const SSDPDeviceMap &nodes,
                   std::string &reply)
{
    const bool wantsHosts = command == kHostListing.command;
    if (!wantsHosts && command != kNodeListing.command) {
        reply = vexbase::Concat({"No such command as \"", command, "\""});
        return false;
    }
    reply = (wantsHosts ? kHostListing : kNodeListing).heading;
    AssembleList(wantsHosts ? hosts : nodes, reply, kMaxDatagram);
    return true;
}

std::optional<DiagnosticListing> ReadListing(std::string_view reply, std::string_view heading)
{
    if (!StartsWith(reply, heading)) {
        return std::nullopt;
    }
    DiagnosticListing listing;
    listing.cut = reply.size() + kLargestEntry > kMaxDatagram;
    reply.remove_prefix(heading.size());
    if (reply.empty()) {
        return listing;
    }
    if (!StartsWith(reply, kStart) || reply.substr(reply.size() - kEnd.size()) != kEnd) {
        return std::nullopt;
    }
    reply.remove_prefix(kStart.size());
    for (std::size_t end = 0; (end = reply.find(kBoundary)) != std::string_view::npos;) {
        listing.services.push_back(ReadEntry(reply.substr(0, end)));
        reply.remove_prefix(end + kBoundary.size());
    }
    reply.remove_suffix(kEnd.size());
    listing.services.push_back(ReadEntry(reply));
    return listing;
}

std::string DisplayText(const SSDPDeviceMap &list, const char *operation)
{
    std::string text =
        vexbase::Concat({operation, ":  We have ", std::to_string(list.size()), " SSDP Devices\n"});
    for (const auto &[usn, device] : list) {
        vexbase::Append(text, {"\n  ProductName:", device.productName, "\n  IP:         ",
                               device.ipAddress, "\n  USN:        ", device.usn, "\n"});
    }
    text.pop_back();
    return text;
}

} // namespace formats
