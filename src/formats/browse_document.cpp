#include "formats/browse_document.h"

#include <array>
#include <string_view>

namespace vex::webapp::utils {
namespace {

constexpr std::string_view kDigits = "0123456789abcdef";

// The letter that follows the backslash in the short escape of a byte; 0 for a
// byte that has none.
char ShortEscape(char c)
{
    switch (c) {
    case '"':
    case '\\':
        return c;
    case '\b':
        return 'b';
    case '\f':
        return 'f';
    case '\n':
        return 'n';
    case '\r':
        return 'r';
    case '\t':
        return 't';
    default:
        return 0;
    }
}

// Appends a value, with the bytes escaped that a JSON string cannot hold.
void JSONEncode(std::string_view value, std::string &out)
{
    for (const char c : value) {
        const auto byte = static_cast<unsigned char>(c);
        if (const char letter = ShortEscape(c); letter != 0) {
            out += '\\';
            out += letter;
        } else if (byte < 0x20) {
            out += "\\u00";
            out += kDigits[byte >> 4U];
            out += kDigits[byte & 0x0FU];
        } else {
            out += c;
        }
    }
}

// The bytes that JSONEncode appends.
std::size_t EncodedSize(std::string_view value)
{
    constexpr std::size_t kShort = 2;
    constexpr std::size_t kLong = 6;
    std::size_t size = value.size();
    for (const char c : value) {
        if (ShortEscape(c) != 0) {
            size += kShort - 1;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            size += kLong - 1;
        }
    }
    return size;
}

} // namespace
} // namespace vex::webapp::utils

namespace formats {
namespace {

using vex::webapp::utils::EncodedSize;
using vex::webapp::utils::JSONEncode;

// One value of an object, and the text that comes before it.
struct Piece
{
    std::string_view before;
    std::string SSDPDeviceType::*value;
};

// An object is these pieces and its end.
constexpr std::array<Piece, 8> kPieces{{
    {"{\"serviceDescription\":\"", &SSDPDeviceType::productName},
    {"\",\"serviceType\":\"_http._tcp\",\"serviceDomain\":\"local\",\"hostName\":\"",
     &SSDPDeviceType::hostName},
    {"\",\"ipAddress\":\"", &SSDPDeviceType::ipAddress},
    {"\",\"port\":80,\"deviceName\":\"", &SSDPDeviceType::modelName},
    {"\",\"description\":\"", &SSDPDeviceType::modelDescription},
    {"\",\"boardType\":\"", &SSDPDeviceType::modelName},
    {"\",\"boardNumber\":\"", &SSDPDeviceType::instance},
    {"\",\"boardID\":\"", &SSDPDeviceType::boardID},
}};
constexpr std::string_view kEnd = "\"}";

} // namespace

// Reserved at once, and exactly: a document that grows is copied again and again, and
// its former copies take memory beside it.
std::string ComposeBrowseDocument(const SSDPDeviceMap &devices)
{
    std::size_t size = devices.empty() ? 2 : 1; // brackets; the last object has no comma
    for (const auto &[usn, device] : devices) {
        size += SizeOfBrowseObject(device);
    }
    std::string document;
    document.reserve(size);
    document = "[";
    for (const auto &[usn, device] : devices) {
        if (document.size() > 1) {
            document += ',';
        }
        for (const Piece &piece : kPieces) {
            document += piece.before;
            JSONEncode(device.*piece.value, document);
        }
        document += kEnd;
    }
    document += ']';
    return document;
}

std::size_t SizeOfBrowseObject(const SSDPDeviceType &device)
{
    std::size_t size = kEnd.size() + 1;
    for (const Piece &piece : kPieces) {
        size += piece.before.size() + EncodedSize(device.*piece.value);
    }
    return size;
}

bool AreListedAlike(const SSDPDeviceType &a, const SSDPDeviceType &b)
{
    for (const Piece &piece : kPieces) {
        if (a.*piece.value != b.*piece.value) {
            return false;
        }
    }
    return true;
}

} // namespace formats
