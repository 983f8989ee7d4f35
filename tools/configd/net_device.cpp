#include "configd/net_device.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <utility>

namespace configd {
namespace {

constexpr std::array<std::pair<SetupState, const char *>, 4> kStateNames{{
    {SetupState::Idle, "Idle"},
    {SetupState::Preparing, "Preparing"},
    {SetupState::Complete, "Complete"},
    {SetupState::Failed, "Failed"},
}};

std::string StateName(SetupState state)
{
    return kStateNames.at(static_cast<std::size_t>(state)).second;
}

bool IsAddress(const std::string &text)
{
    in_addr address{};
    return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

std::optional<Fault> ReadAddress(const JsonDocument &document, const std::string &path,
                                 std::string &address)
{
    if (auto fault = document.ReadText(path, address)) {
        return fault;
    }
    if (!address.empty() && !IsAddress(address)) {
        return document.FaultAt(path, "address must be an IPv4 address or empty");
    }
    return std::nullopt;
}

std::optional<Fault> ReadState(const JsonDocument &document, const std::string &path,
                               SetupState &state)
{
    std::string name;
    if (auto fault = document.ReadText(path, name)) {
        return fault;
    }
    const auto *found = std::find_if(kStateNames.begin(), kStateNames.end(),
                                     [&name](const auto &row) { return row.second == name; });
    if (found == kStateNames.end()) {
        return document.FaultAt(path,
                                "interfaceSetupState must be Idle, Preparing, Complete or Failed");
    }
    state = found->first;
    return std::nullopt;
}

std::optional<Fault> ReadNetDevice(const JsonDocument &document, const std::string &path,
                                   NetDevice &device)
{
    const std::string params = path + "/activeParams";
    const std::string status = path + "/status";
    if (auto fault = document.ExpectMembers(path, {"name", "activeParams", "status"})) {
        return fault;
    }
    if (auto fault = document.ExpectMembers(params, {"address"})) {
        return fault;
    }
    if (auto fault = document.ExpectMembers(status, {"interfaceSetupState", "connected"})) {
        return fault;
    }
    if (auto fault = document.ReadText(path + "/name", device.name)) {
        return fault;
    }
    if (auto fault = ReadAddress(document, params + "/address", device.address)) {
        return fault;
    }
    if (auto fault = ReadState(document, status + "/interfaceSetupState", device.state)) {
        return fault;
    }
    return document.ReadBool(status + "/connected", device.connected);
}

nlohmann::ordered_json Json(const NetDevice &device)
{
    return {{"name", device.name},
            {"activeParams", {{"address", device.address}}},
            {"status",
             {{"interfaceSetupState", StateName(device.state)}, {"connected", device.connected}}}};
}

} // namespace

std::optional<Fault> ReadNetDevices(std::string_view text, std::vector<NetDevice> &devices)
{
    const JsonDocument document(text);
    if (document.Malformed()) {
        return document.Malformed();
    }
    if (auto fault = document.ExpectArray("")) {
        return fault;
    }
    std::vector<NetDevice> read(document.Root().size());
    for (std::size_t i = 0; i < read.size(); ++i) {
        if (auto fault = ReadNetDevice(document, '/' + std::to_string(i), read[i])) {
            return fault;
        }
    }
    devices = std::move(read);
    return std::nullopt;
}

std::string NetDevicesText(const std::vector<NetDevice> &devices)
{
    auto list = nlohmann::ordered_json::array();
    for (const NetDevice &device : devices) {
        list.push_back(Json(device));
    }
    return list.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

} // namespace configd
