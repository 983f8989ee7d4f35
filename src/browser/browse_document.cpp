#include "browser/browse_document.h"

#include <cstddef>
#include <string_view>

namespace vex::webapp::utils {
namespace {

// Bytes that most devices stay below. Reserved at once, since a growing document
// is copied again and again, each time into pages that are new to the process.
constexpr std::size_t kUsualSize = 400;

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

// Appends a value with what a JSON string cannot hold escaped.
void JSONEncode(std::string_view value, std::string &out)
{
    constexpr std::string_view kDigits = "0123456789abcdef";
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

void AppendString(const char *before, std::string_view value, std::string &out)
{
    out += before;
    JSONEncode(value, out);
}

void AppendDevice(const SSDPDeviceType &device, std::string &out)
{
    AppendString("{\"serviceDescription\":\"", device.productName, out);
    out += "\",\"serviceType\":\"_http._tcp\",\"serviceDomain\":\"local";
    AppendString("\",\"hostName\":\"", device.hostName, out);
    AppendString("\",\"ipAddress\":\"", device.ipAddress, out);
    out += "\",\"port\":80";
    AppendString(",\"deviceName\":\"", device.modelName, out);
    AppendString("\",\"description\":\"", device.modelDescription, out);
    AppendString("\",\"boardType\":\"", device.modelName, out);
    AppendString("\",\"boardNumber\":\"", device.instance, out);
    AppendString("\",\"boardID\":\"", device.boardID, out);
    out += "\"}";
}

} // namespace

std::string ComposeBrowseDocument(const SSDPDeviceMap &devices)
{
    std::string document = "[";
    document.reserve(devices.size() * kUsualSize);
    for (const auto &[usn, device] : devices) {
        if (document.size() > 1) {
            document += ',';
        }
        AppendDevice(device, document);
    }
    document += ']';
    return document;
}

} // namespace vex::webapp::utils
