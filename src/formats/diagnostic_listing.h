#pragma once

#include "formats/ssdp_device_type.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The diagnostic port's commands and listings: texts for people, which tools read
// back. Pure functions.
//
// A listing is its heading, then for each service
//
//   "\n  ProductName:\"" name "\"\n  HostName:   \"" name
//   "\"\n  IP:         " address "\n  USN:        " USN "\n"
//
// Nothing is escaped, so names, addresses and USNs may hold any bytes, these labels
// included.
namespace formats {

// A listing: the command that asks for it, and its heading.
struct ListingKind
{
    std::string_view command;
    std::string_view heading;
};
constexpr ListingKind kHostListing{"gh", "HostList"}; // the services that a device announces
constexpr ListingKind kNodeListing{"gn", "NodeList"}; // the services that it knows

// Appends each entry's product name, host name, address and USN to out, in key order;
// nothing for an empty map. Stops before the first entry that would make out longer
// than maxSize bytes.
void AssembleList(const SSDPDeviceMap &list, std::string &out, std::size_t maxSize);

// Answers a diagnostic command with a listing that fits one datagram. False for an
// unknown command, with reply set to an error text.
[[nodiscard]] bool AnswerCommand(std::string_view command, const SSDPDeviceMap &hosts,
                                 const SSDPDeviceMap &nodes, std::string &reply);

// A listing that was received.
struct DiagnosticListing
{
    // For each service the four fields of the listing; the others are empty.
    std::vector<SSDPDeviceType> services;
    // The listing may be incomplete: one more entry might not have fitted.
    bool cut = false;
};

// Reads a listing by these rules:
//
// 1. An entry starts after the heading and after every empty line that the label
//    ProductName follows. Every written entry starts in this way, and two such starts
//    cannot overlap, so no text of one entry becomes part of another.
// 2. Within an entry, each label counts at its first occurrence after the label before
//    it. If a label is missing, the field before it extends to the next label. The last
//    field ends before the line feed that ends the entry.
//
// So each entry is read independently of the others, and none is lost. An entry is read
// exactly if its names and address hold no line feed and its USN holds no start of an
// entry. An entry whose text imitates entries is read as several entries: no reader can
// distinguish it from several devices.
//
// Nothing if the reply has another heading, or if the text after it does not begin and end
// like entries.
[[nodiscard]] std::optional<DiagnosticListing> ReadListing(std::string_view reply,
                                                           std::string_view heading);

// Composes the listing that is printed for debugging: the name of the printing
// operation, the number of entries, and the entries, without the last newline.
[[nodiscard]] std::string DisplayText(const SSDPDeviceMap &list, const char *operation);

} // namespace formats
