#pragma once

#include "formats/ssdp_device_type.h"

#include <cstddef>
#include <string>
#include <string_view>

// Text listings of a registry, for people. Pure functions.
namespace formats {

// Appends each entry's product name, host name, address and USN to out, in key
// order; nothing for an empty map. Ends after the last whole entry with which
// out keeps within maxSize bytes.
void AssembleList(const SSDPDeviceMap &list, std::string &out, std::size_t maxSize);

// Answers a diagnostic command, "gh" or "gn", with a listing of one datagram at
// most. False for any other command, with an answer that says so.
[[nodiscard]] bool AnswerCommand(std::string_view command, const SSDPDeviceMap &hosts,
                                 const SSDPDeviceMap &nodes, std::string &reply);

// The listing that is printed for debugging, headed by the printing operation's
// name and the number of entries, without the newline at its end.
[[nodiscard]] std::string DisplayText(const SSDPDeviceMap &list, const char *operation);

} // namespace formats
