#include "configd/net_device.h"

#include "configd/name.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <utility>

namespace configd {
namespace {

using Kind = JsonValue::Kind;

std::optional<Fault> TakeName(const JsonValue &value, NetDevice &device)
{
    if (value.kind != Kind::Text || !IsName(value.text)) {
        return std::string("must be ") + kNameRule;
    }
    device.name = value.text;
    return std::nullopt;
}

bool IsAddress(const std::string &text)
{
    in_addr address{};
    return std::strlen(text.c_str()) == text.size() &&
           inet_pton(AF_INET, text.c_str(), &address) == 1;
}

std::optional<Fault> TakeAddress(const JsonValue &value, NetDevice &device)
{
    std::string address(value.text);
    if (value.kind != Kind::Text || (!address.empty() && !IsAddress(address))) {
        return "must be an IPv4 address or empty";
    }
    device.address = std::move(address);
    return std::nullopt;
}

std::optional<Fault> TakeState(const JsonValue &value, NetDevice &device)
{
    const auto &names = configuration::kSetupStateNames;
    const auto *found = std::find_if(names.begin(), names.end(),
                                     [&](const char *name) { return value.text == name; });
    if (found == names.end()) {
        return "must be Idle, Preparing, Complete or Failed";
    }
    device.state = static_cast<SetupState>(found - names.begin());
    return std::nullopt;
}

std::optional<Fault> TakeConnected(const JsonValue &value, NetDevice &device)
{
    device.connected = value.flag;
    return ExpectKind(value, Kind::Flag);
}

// The required members, by their path in the device.
struct Member
{
    const char *path;
    std::optional<Fault> (*take)(const JsonValue &value, NetDevice &device);
};
constexpr std::array<Member, 4> kMembers{{{"/name", TakeName},
                                          {"/activeParams/address", TakeAddress},
                                          {"/status/interfaceSetupState", TakeState},
                                          {"/status/connected", TakeConnected}}};

// The part of a list that has been read.
struct List
{
    std::vector<NetDevice> devices;
    std::array<bool, kMembers.size()> has{}; // which of kMembers the last device has

    std::optional<Fault> Take(const std::string &path, const JsonValue &value)
    {
        if (path.empty()) {
            return ExpectKind(value, Kind::Array);
        }
        const std::size_t slash = path.find('/', 1);
        if (slash == std::string::npos) {
            return value.kind == Kind::ObjectEnd ? FindMissing() : TakeDevice(value);
        }
        return value.kind == Kind::ObjectEnd
                   ? std::nullopt
                   : TakeMember(std::string_view(path).substr(slash), value);
    }

    std::optional<Fault> TakeDevice(const JsonValue &value)
    {
        devices.emplace_back();
        has = {};
        return ExpectKind(value, Kind::Object);
    }

    std::optional<Fault> TakeMember(std::string_view path, const JsonValue &value)
    {
        if (path == "/activeParams" || path == "/status") {
            return ExpectKind(value, Kind::Object);
        }
        for (std::size_t i = 0; i < kMembers.size(); ++i) {
            if (path == kMembers.at(i).path) {
                has.at(i) = true;
                return kMembers.at(i).take(value, devices.back());
            }
        }
        return "unknown member";
    }

    [[nodiscard]] std::optional<Fault> FindMissing() const
    {
        const auto *missing = std::find(has.begin(), has.end(), false);
        if (missing == has.end()) {
            return std::nullopt;
        }
        const auto index = static_cast<std::size_t>(missing - has.begin());
        return std::string(kMembers.at(index).path + 1) + " is missing";
    }
};

std::string Text(const NetDevice &device)
{
    return "{\"name\":" + JsonString(device.name) +
           ",\"activeParams\":{\"address\":" + JsonString(device.address) +
           "},\"status\":{\"interfaceSetupState\":" +
           JsonString(configuration::NameOf(device.state)) +
           ",\"connected\":" + (device.connected ? "true" : "false") + "}}";
}

// The texts of the devices: `before` first, `between` after each but the last, `after` last.
std::string ListText(const std::vector<NetDevice> &devices, const std::string &before,
                     const std::string &between, const std::string &after)
{
    constexpr std::size_t kAround = 128; // more than the text of a device without its name
    std::size_t size = before.size() + after.size();
    for (const NetDevice &device : devices) {
        size += device.name.size() + kAround;
    }
    std::string text = before;
    text.reserve(size); // growing step by step would need up to three times the memory
    for (const NetDevice &device : devices) {
        text += (&device == &devices.front() ? "" : between) + Text(device);
    }
    text += after;
    return text;
}

} // namespace

std::optional<Fault> ReadNetDevices(std::string_view text, std::vector<NetDevice> &devices)
{
    List list;
    auto fault = ReadJson(text, [&list](const std::string &path, const JsonValue &value) {
        return list.Take(path, value);
    });
    if (!fault) {
        devices = std::move(list.devices);
    }
    return fault;
}

std::string NetDevicesText(const std::vector<NetDevice> &devices)
{
    return ListText(devices, "[", ",", "]");
}

std::string StoredNetDevicesText(const std::vector<NetDevice> &devices)
{
    return devices.empty() ? "[]\n" : ListText(devices, "[\n    ", ",\n    ", "\n]\n");
}

} // namespace configd
