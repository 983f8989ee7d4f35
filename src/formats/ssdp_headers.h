#pragma once

#include "formats/ssdp_protocol.h"

#include <cstdint>
#include <netinet/in.h>
#include <string>
#include <string_view>

// Reads received datagrams: the method, the headers and max-age texts. Pure
// functions; ClassifyMethod and ScanHeaders allocate nothing, since every text is a view
// into the datagram.
namespace formats {

// The method of a datagram, from its first word. The word is compared byte for byte,
// so it is case-sensitive; header names are not.
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

// The headers of one datagram. A header that is absent or has no value is an empty view.
// If a header occurs more than once, the last one with a usable value counts (NTS:
// ssdp:alive or ssdp:byebye; CACHE-CONTROL: one with max-age).
struct SSDPHeaders
{
    NTSHeader notify;
    std::string_view searchTarget; // ST
    NTSKind kind = NTSKind::Unknown;
    std::int32_t maxAge = kDefaultMaxAge; // seconds, as ReadMaxAgeDirective returns them
};

// Reads the headers of a whole datagram. Malformed lines are skipped.
[[nodiscard]] SSDPHeaders ScanHeaders(std::string_view datagram);

// Reads the number after a directive's "=", leading white space allowed, as strtol
// does with base 0: decimal, 0x hexadecimal or 0 octal. The text after the digits is
// ignored; a text without digits is 0. Returns seconds, from -2^31 to kLargestMaxAge.
[[nodiscard]] std::int32_t ReadMaxAgeDirective(std::string_view text);

// Reads decimal digits after optional white space and sign. Returns seconds, at most
// kLargestMaxAge; 0 for a text without a number or with a negative one.
[[nodiscard]] std::uint32_t ReadMaximumAge(std::string_view text);

// Finds "max-age=" in a message, and copies the text after it, up to the end of the line
// (CR LF), to out. Without "max-age=" or a line end, out is unchanged. If out is then
// empty, it becomes "120".
void GetMaximumAgeString(std::string_view message, std::string &out);

} // namespace formats
