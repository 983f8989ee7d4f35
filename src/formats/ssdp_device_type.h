#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

// SSDPDeviceType is the record of one SSDP service: the device's own, one that is
// announced on behalf of another device, or one that was found on the network. A
// plain value; text fields are bytes as received, of any length.
struct SSDPDeviceType
{
    std::string productName;         // first component of the USN's suffix
    std::string modelName;           // <modelName> of the description document
    std::string modelNumber;         // <modelNumber>; empty until a description was read
    std::string modelDescription;    // <modelDescription>, the product category
    std::string serialNumber;        // <serialNumber>
    std::string ipAddress;           // dotted quad; second component of the USN's suffix
    std::string hostName;            // <friendlyName>
    std::string instance;            // third component of the USN's suffix
    std::string boardID;             // "0x" and the board identifier
    std::string notificationType;    // the NT or ST value
    std::string urlScheme;           // "http://" or "https://"
    std::string reserved;            // copied with the record, never read
    std::string usn;                 // unique service name; the key of every map
    std::string maxAge;              // decimal seconds
    std::string location;            // URL of the description document
    std::string descriptionFileName; // path of the document's file
    std::string server;              // the SERVER header's value

    std::uint32_t timerPeriod = 0;   // milliseconds; the countdown is calculated from it
    std::int32_t timerCountdown = 0; // milliseconds left; 0 or less when it has run out
    std::uint16_t repeatCount = 0;   // announcements still to be sent
    std::uint8_t flag = 0;           // marks of the registry (ssdp::record_flag)
};

namespace formats {

// Records by USN, in byte-wise order of the USN.
using SSDPDeviceMap = std::map<std::string, SSDPDeviceType, std::less<>>;

// Unique service names. Pure functions:

// "uuid:65746500-" product "-" address "-" instance, without any escaping. The
// result is deliberately not a canonical 8-4-4-4-12 UUID.
[[nodiscard]] std::string MakeUSN(std::string_view productName, std::string_view ipAddress,
                                  std::string_view instance);

// The predicates search anywhere in the text. Case matters.

// A device that another device may announce: "ZR1".
[[nodiscard]] bool CanBeProxied(std::string_view text);
// A device with this system's mark (a ZR1, too), or a product that always announces itself.
[[nodiscard]] bool IsNonProxiedDevice(std::string_view text);
// A device of the maker.
[[nodiscard]] bool IsVEXDevice(std::string_view text);

} // namespace formats
