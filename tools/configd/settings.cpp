#include "configd/settings.h"

#include "configd/stored_file.h"
#include "configd/system_config.h"

#include <array>
#include <stdexcept>
#include <unistd.h>
#include <utility>

namespace configd {
namespace {

constexpr int kIndent = 4; // the files are meant to be read and edited by hand

// The statuses of HTTP that a refusal has.
constexpr unsigned int kBadRequest = 400;
constexpr unsigned int kConflict = 409;
constexpr unsigned int kInternalServerError = 500;

std::string OwnHostName()
{
    std::array<char, 256> name{}; // the kernel's longest has 64 bytes
    gethostname(name.data(), name.size() - 1);
    return name.data();
}

void ThrowIf(const std::optional<Fault> &fault, const std::string &file)
{
    if (fault) {
        throw std::runtime_error(file + ": " + *fault);
    }
}

nlohmann::json LoadSystem(const std::string &file)
{
    const auto text = ReadStoredFile(file);
    if (!text) {
        return FactorySystemConfig(OwnHostName());
    }
    nlohmann::json system;
    ThrowIf(ReadSystemConfig(*text, system), file);
    return system;
}

std::vector<NetDevice> LoadDevices(const std::string &file)
{
    std::vector<NetDevice> devices;
    const auto text = file.empty() ? std::nullopt : ReadStoredFile(file);
    if (text) {
        ThrowIf(ReadNetDevices(*text, devices), file);
    }
    return devices;
}

} // namespace

Settings::Settings(std::string stateFile, std::string devicesFile)
    : mStateFile(std::move(stateFile)),
      mDevicesFile(std::move(devicesFile)),
      mSystem(LoadSystem(mStateFile)),
      mValues{mSystem.dump(), NetDevicesText(LoadDevices(mDevicesFile))}
{
}

std::optional<Refusal> Settings::PatchSystem(std::string_view patch)
{
    nlohmann::json system = mSystem;
    if (auto fault = PatchSystemConfig(patch, system)) {
        return Refusal{kBadRequest, *fault};
    }
    if (auto fault = ReplaceStoredFile(mStateFile, system.dump(kIndent) + '\n')) {
        return Refusal{kInternalServerError, *fault};
    }
    mSystem = std::move(system);
    Change(mValues.systemConfig, mSystem.dump());
    return std::nullopt;
}

std::optional<Refusal> Settings::PutDevices(std::string_view list)
{
    if (!HasHandKeptDevices()) {
        return Refusal{kConflict, "the network devices follow the kernel's own"};
    }
    std::vector<NetDevice> devices;
    if (auto fault = ReadNetDevices(list, devices)) {
        return Refusal{kBadRequest, *fault};
    }
    std::string text = NetDevicesText(devices);
    const std::string pretty = nlohmann::ordered_json::parse(text).dump(kIndent) + '\n';
    if (auto fault = ReplaceStoredFile(mDevicesFile, pretty)) {
        return Refusal{kInternalServerError, *fault};
    }
    Change(mValues.netDeviceList, std::move(text));
    return std::nullopt;
}

void Settings::FollowDevices(const std::vector<NetDevice> &devices)
{
    Change(mValues.netDeviceList, NetDevicesText(devices));
}

void Settings::Change(std::string &value, std::string text)
{
    if (value != text) {
        value = std::move(text);
        ++mRevision;
    }
}

} // namespace configd
