#include "beaconctl/diagnostic_listing.h"

namespace {

// Takes what stands before a label off the text, and the label; false when the
// label is missing.
bool TakeUpTo(std::string_view &text, std::string_view label, std::string &before)
{
    const std::size_t at = text.find(label);
    if (at == std::string_view::npos) {
        return false;
    }
    before = text.substr(0, at);
    text.remove_prefix(at + label.size());
    return true;
}

bool TakeEntry(std::string_view &text, Entry &entry)
{
    std::string nothing;
    const bool taken = TakeUpTo(text, "\n  ProductName:\"", nothing) && nothing.empty() &&
                       TakeUpTo(text, "\"\n  HostName:   \"", entry.product) &&
                       TakeUpTo(text, "\"\n  IP:         ", entry.hostName) &&
                       TakeUpTo(text, "\n  USN:        ", entry.address) &&
                       TakeUpTo(text, "\n", entry.key);
    entry.detail = entry.key;
    return taken;
}

} // namespace

std::optional<Entries> ReadListing(std::string_view reply, std::string_view heading)
{
    if (reply.substr(0, heading.size()) != heading) {
        return std::nullopt;
    }
    reply.remove_prefix(heading.size());
    Entries entries;
    while (!reply.empty()) {
        Entry entry;
        if (!TakeEntry(reply, entry)) {
            return std::nullopt;
        }
        entries.push_back(entry);
    }
    return entries;
}
