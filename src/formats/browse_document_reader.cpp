#include "formats/browse_document.h"
#include "formats/utf8.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>

namespace formats {
namespace {

using nlohmann::json;

// Drops arrays and objects within the object of a device: a hostile file with many of them
// would take up to eighty times its size in memory.
bool IsInBrowseDocument(int depth, json::parse_event_t event, const json & /*value*/)
{
    constexpr int kInObject = 2;
    return depth < kInObject || (event != json::parse_event_t::object_start &&
                                 event != json::parse_event_t::array_start);
}

std::string Text(const json &object, const char *key)
{
    const auto member = object.find(key);
    return member != object.end() && member->is_string() ? member->get<std::string>()
                                                         : std::string();
}

SSDPDeviceType DeviceOf(const json &object)
{
    SSDPDeviceType device;
    device.productName = Text(object, "serviceDescription");
    device.hostName = Text(object, "hostName");
    device.ipAddress = Text(object, "ipAddress");
    device.modelName = Text(object, "deviceName");
    device.modelDescription = Text(object, "description");
    device.instance = Text(object, "boardNumber");
    device.boardID = Text(object, "boardID");
    return device;
}

// Parses a document. False, with error set, if it is not an array of objects.
bool Parse(std::string_view text, json &document, std::string &error)
{
    try {
        document = json::parse(ReplaceInvalidUtf8(text), IsInBrowseDocument);
    } catch (const json::parse_error &fault) {
        error = "invalid JSON at byte " + std::to_string(fault.byte);
        return false;
    } catch (const json::out_of_range &) { // a number
        error = "invalid JSON: a number is too large";
        return false;
    }
    if (!document.is_array()) {
        error = "not a browse list: not a JSON array";
        return false;
    }
    if (!std::all_of(document.begin(), document.end(),
                     [](const json &element) { return element.is_object(); })) {
        error = "not a browse list: an element is not an object";
        return false;
    }
    return true;
}

// Erases the members whose values IsInBrowseDocument has dropped.
void EraseDiscarded(json &object)
{
    for (auto member = object.begin(); member != object.end();) {
        member = member->is_discarded() ? object.erase(member) : std::next(member);
    }
}

} // namespace

bool ReadBrowseDocument(std::string_view text, std::vector<SSDPDeviceType> &devices,
                        std::string &error)
{
    json document;
    if (!Parse(text, document, error)) {
        return false;
    }
    devices.clear();
    std::transform(document.begin(), document.end(), std::back_inserter(devices), DeviceOf);
    return true;
}

bool CopyBrowseDocument(std::string_view text, std::string &copy, std::string &error)
{
    json document;
    if (!Parse(text, document, error)) {
        return false;
    }
    for (json &object : document) {
        EraseDiscarded(object);
    }
    copy = document.dump();
    return true;
}

} // namespace formats
