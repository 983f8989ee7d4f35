#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

// SSDPDeviceType is the record of one SSDP service: the device's own, one that
// is announced for somebody else, or one heard on the network. A plain value,
// copied whole; text fields are byte strings as they came, of any length.
struct SSDPDeviceType
{
    std::string productName;         //  1: first component of the USN's suffix
    std::string modelName;           //  2: <modelName> of the description document
    std::string modelNumber;         //  3: <modelNumber>; empty until a description was read
    std::string modelDescription;    //  4: <modelDescription>, the product category
    std::string serialNumber;        //  5: <serialNumber>
    std::string ipAddress;           //  6: dotted quad; second component of the USN's suffix
    std::string hostName;            //  7: <friendlyName>
    std::string instance;            //  8: third component of the USN's suffix
    std::string boardID;             //  9: "0x" and the board identifier
    std::string notificationType;    // 10: the NT or ST value
    std::string urlScheme;           // 11: "http://" or "https://"
    std::string reserved;            // 12: carried with the record, read by nobody
    std::string usn;                 // 13: unique service name; the key of every map
    std::string maxAge;              // 14: decimal seconds
    std::string location;            // 15: URL of the description document
    std::string descriptionFileName; // 16: path of the document's file
    std::string server;              // 17: the SERVER header's value

    std::uint32_t timerPeriod = 0;   // 18: reload value of the countdown, milliseconds
    std::int32_t timerCountdown = 0; //     milliseconds left; below 0 once run out
    std::uint16_t repeatCount = 0;   // 19: announcements still owed
    std::uint8_t flag = 0;           // 20: a marker that travels with the record
};

// Records by USN, in byte-wise order of the USN.
using SSDPDeviceMap = std::map<std::string, SSDPDeviceType, std::less<>>;
