#include "formats/browse_document.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <numeric>
#include <string_view>

namespace vex::webapp::utils {
namespace {

// The size of each byte in a JSON string: 1 if it is copied, 2 for a short escape such as
// \n, 6 for any other control byte.
constexpr std::array<std::uint8_t, 256> EncodedSizes()
{
    std::array<std::uint8_t, 256> sizes{};
    for (std::size_t byte = 0; byte < sizes.size(); ++byte) {
        sizes[byte] = byte < 0x20 ? 6 : 1;
    }
    for (const char byte : {'"', '\\', '\b', '\f', '\n', '\r', '\t'}) {
        sizes[static_cast<unsigned char>(byte)] = 2;
    }
    return sizes;
}

constexpr std::array<std::uint8_t, 256> kEncodedSizes = EncodedSizes();

std::size_t EncodedSize(char c)
{
    return kEncodedSizes[static_cast<unsigned char>(c)];
}

// The letter after the backslash in a short escape.
char EscapeLetter(char c)
{
    switch (c) {
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
        return c;
    }
}

char *WriteEscaped(char c, char *out)
{
    constexpr std::string_view kDigits = "0123456789abcdef";
    *out++ = '\\';
    if (EncodedSize(c) == 2) {
        *out++ = EscapeLetter(c);
        return out;
    }
    for (const char each : {'u', '0', '0', kDigits[static_cast<unsigned char>(c) >> 4U],
                            kDigits[static_cast<unsigned char>(c) & 0x0FU]}) {
        *out++ = each;
    }
    return out;
}

// Writes a value, with escapes for the bytes that a JSON string cannot hold, and returns
// the end. REQUIRES: out has room for EncodedSize(value) bytes.
char *JSONEncode(std::string_view value, char *out)
{
    for (const char c : value) {
        if (EncodedSize(c) == 1) {
            *out++ = c;
        } else {
            out = WriteEscaped(c, out);
        }
    }
    return out;
}

// The bytes that JSONEncode writes.
std::size_t EncodedSize(std::string_view value)
{
    return std::accumulate(value.begin(), value.end(), std::size_t{0},
                           [](std::size_t size, char c) { return size + EncodedSize(c); });
}

} // namespace
} // namespace vex::webapp::utils

namespace formats {
namespace {

using vex::webapp::utils::EncodedSize;
using vex::webapp::utils::JSONEncode;

// A value of an object, and the text before it.
struct Piece
{
    std::string_view before;
    std::string SSDPDeviceType::*value;
};

// An object consists of these pieces and its end.
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

// The size is calculated first: a document that grew would be copied several times, and
// two copies would be in memory at once.
std::string ComposeBrowseDocument(const SSDPDeviceMap &devices)
{
    std::size_t size = devices.empty() ? 2 : 1; // the brackets; no comma follows the last object
    for (const auto &[usn, device] : devices) {
        size += SizeOfBrowseObject(device);
    }
    std::string document(size, ']'); // the last one is the closing bracket
    char *out = document.data();
    *out++ = '[';
    for (const auto &[usn, device] : devices) {
        if (out != document.data() + 1) {
            *out++ = ',';
        }
        for (const Piece &piece : kPieces) {
            out = std::copy(piece.before.begin(), piece.before.end(), out);
            out = JSONEncode(device.*piece.value, out);
        }
        out = std::copy(kEnd.begin(), kEnd.end(), out);
    }
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

std::size_t SizeOfPlainBrowseObject(const SSDPDeviceType &device)
{
    std::size_t size = kEnd.size() + 1;
    for (const Piece &piece : kPieces) {
        size += piece.before.size() + (device.*piece.value).size();
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
