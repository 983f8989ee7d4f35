#pragma once

#include <optional>
#include <string>
#include <string_view>

// One answer to an M-SEARCH (UPnP Device Architecture 1.0, section 1.2.3). Texts
// are the network's, byte for byte.
struct SearchAnswer
{
    std::string address;
    std::string searchTarget;
    std::string usn;
    std::string location;
    std::string server;
};

// The request, with the time in seconds within which devices may answer.
[[nodiscard]] std::string ComposeSearch(std::string_view target);

// Reads an answer; nothing when the datagram is none. Absent headers are empty.
[[nodiscard]] std::optional<SearchAnswer> ReadSearchAnswer(std::string_view datagram);
