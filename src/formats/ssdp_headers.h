#pragma once

#include "formats/ssdp_protocol.h"

#include <cstdint>
#include <netinet/in.h>
#include <string_view>

// Sorting received datagrams and reading their headers. Pure functions that
// allocate nothing: every text is a view into the datagram.
namespace formats {

// What the first word of a datagram says it is. The word is compared byte for
// byte, so it is case-sensitive; header names are not.
enum class Method { Unknown, MSearch, Notify, Http, Get };

[[nodiscard]] Method ClassifyMethod(std::string_view datagram);

// The headers of a NOTIFY that the registry needs.
struct NTSHeader
{
    std::string_view nt;
    std::string_view usn;
    std::string_view location;
    in_addr sender{}; // set by the receiver of the datagram
};

// The NTS value of a NOTIFY.
enum class NTSKind { Unknown = -1, Alive = 1, Byebye = 2 };

// The headers of one datagram. An absent header, or one without a value, is an
// empty view; a later occurrence overrides an earlier one.
struct SSDPHeaders
{
    NTSHeader notify;
    std::string_view searchTarget; // ST
    NTSKind kind = NTSKind::Unknown;
    std::int32_t maxAge = kDefaultMaxAge; // seconds; any value a peer cares to send, cut to
                                          // the largest that the engine can hold
};

// Reads the headers of a whole datagram. Malformed lines are passed over.
[[nodiscard]] SSDPHeaders ScanHeaders(std::string_view datagram);

} // namespace formats
