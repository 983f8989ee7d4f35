#include "beaconctl/diagnostic_listing.h"

#include <array>

namespace {

constexpr std::string_view kStart = "\n  ProductName:\"";
// The end of an entry and the start of the next.
constexpr std::string_view kBoundary = "\n\n  ProductName:\"";
constexpr std::string_view kEnd = "\n";

struct Label
{
    std::string_view text;
    std::string Entry::*field; // the field that it introduces
};

constexpr std::array<Label, 3> kLabels{{{"\"\n  HostName:   \"", &Entry::hostName},
                                        {"\"\n  IP:         ", &Entry::address},
                                        {"\n  USN:        ", &Entry::usn}}};

// A daemon ends a listing before the first entry that would make it longer than
// the payload of an IPv4 datagram.
constexpr std::size_t kLargestListing = 65507;
// Each text of an entry comes from one description, a datagram of at most 1500
// bytes. Its elements may overlap, so that each of the four texts may be as long.
constexpr std::size_t kLargestText = 1500;
constexpr std::size_t kLargestEntry = kStart.size() + kLabels[0].text.size() +
                                      kLabels[1].text.size() + kLabels[2].text.size() +
                                      kEnd.size() + 4 * kLargestText;

// Reads an entry without its start and its end.
Entry ReadEntry(std::string_view text)
{
    Entry entry;
    std::string Entry::*field = &Entry::product;
    for (const Label &label : kLabels) {
        const std::size_t at = text.find(label.text);
        if (at != std::string_view::npos) {
            entry.*field = text.substr(0, at);
            text.remove_prefix(at + label.text.size());
            field = label.field;
        }
    }
    entry.*field = text;
    return entry;
}

bool StartsWith(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

} // namespace

std::optional<Listing> ReadListing(std::string_view reply, std::string_view heading)
{
    if (!StartsWith(reply, heading)) {
        return std::nullopt;
    }
    Listing listing;
    listing.cut = reply.size() + kLargestEntry > kLargestListing;
    reply.remove_prefix(heading.size());
    if (reply.empty()) {
        return listing;
    }
    if (!StartsWith(reply, kStart) || reply.substr(reply.size() - kEnd.size()) != kEnd) {
        return std::nullopt;
    }
    reply.remove_prefix(kStart.size());
    for (std::size_t end = 0; (end = reply.find(kBoundary)) != std::string_view::npos;) {
        listing.entries.push_back(ReadEntry(reply.substr(0, end)));
        reply.remove_prefix(end + kBoundary.size());
    }
    reply.remove_suffix(kEnd.size());
    listing.entries.push_back(ReadEntry(reply));
    return listing;
}
