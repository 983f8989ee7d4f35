#include "configd/settings.h"

#include "configd/exit_status.h"

#include <array>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace configd {
namespace {

// The HTTP statuses of refusals.
constexpr unsigned int kBadRequest = 400;
constexpr unsigned int kConflict = 409;
constexpr unsigned int kContentTooLarge = 413;
constexpr unsigned int kServiceUnavailable = 503;

std::string OwnHostName()
{
    std::array<char, 256> name{}; // the kernel allows 64 bytes
    gethostname(name.data(), name.size() - 1);
    return name.data();
}

void ThrowIf(const std::optional<Fault> &fault, const StoredFile &file)
{
    if (fault) {
        throw Failure(kDamagedFile, file.Name() + ": " + *fault);
    }
}

SystemConfig LoadSystem(const StoredFile &file)
{
    if (!file.Text()) {
        return FactorySystemConfig(OwnHostName());
    }
    SystemConfig system;
    ThrowIf(ReadSystemConfig(*file.Text(), system), file);
    return system;
}

std::vector<NetDevice> LoadDevices(const std::optional<StoredFile> &file)
{
    std::vector<NetDevice> devices;
    if (file && file->Text()) {
        ThrowIf(ReadNetDevices(*file->Text(), devices), *file);
    }
    return devices;
}

std::optional<Refusal> Store(StoredFile &file, std::string text)
try {
    if (!file.Fault().empty()) {
        return Refusal{kServiceUnavailable, file.Fault()};
    }
    if (text.size() > kLargestText) {
        return Refusal{kContentTooLarge, "stored, it would have more than " +
                                             std::to_string(kLargestText) + " bytes"};
    }
    if (file.IsEdited()) {
        return Refusal{kConflict, file.Name() + " was edited by hand; restart "
                                                "beacon-configd to take the edit over"};
    }
    file.Replace(std::move(text));
    return std::nullopt;
} catch (const std::system_error &error) {
    return Refusal{kServiceUnavailable, error.what()};
}

} // namespace

Settings::Settings(std::string stateFile, std::string devicesFile)
    : mStateFile(std::move(stateFile)),
      mDevicesFile(devicesFile.empty() ? std::nullopt
                                       : std::optional<StoredFile>(std::move(devicesFile))),
      mSystem(LoadSystem(mStateFile)),
      mValues{{Parameter::SystemConfig, SystemConfigText(mSystem)},
              {Parameter::NetDeviceList, NetDevicesText(LoadDevices(mDevicesFile))}}
{
}

std::vector<std::string> Settings::Faults() const
{
    std::vector<std::string> faults;
    if (!mStateFile.Fault().empty()) {
        faults.push_back(mStateFile.Fault());
    }
    if (mDevicesFile && !mDevicesFile->Fault().empty()) {
        faults.push_back(mDevicesFile->Fault());
    }
    return faults;
}

void Settings::LoadMissing()
{
    if (!mStateFile.Fault().empty()) {
        mStateFile.Load();
        mSystem = LoadSystem(mStateFile);
        mValues.systemConfig = Value(Parameter::SystemConfig, SystemConfigText(mSystem));
    }
    if (mDevicesFile && !mDevicesFile->Fault().empty()) {
        mDevicesFile->Load();
        mValues.netDeviceList =
            Value(Parameter::NetDeviceList, NetDevicesText(LoadDevices(mDevicesFile)));
    }
}

std::optional<Refusal> Settings::PatchSystem(std::string_view patch)
{
    SystemConfig system = mSystem;
    if (auto fault = PatchSystemConfig(patch, system)) {
        return Refusal{kBadRequest, *fault};
    }
    if (system == mSystem) {
        return std::nullopt;
    }
    if (auto refusal = Store(mStateFile, StoredSystemConfigText(system))) {
        return refusal;
    }
    mSystem = std::move(system);
    mValues.systemConfig = Value(Parameter::SystemConfig, SystemConfigText(mSystem));
    return std::nullopt;
}

std::optional<Refusal> Settings::PutDevices(std::string_view list)
{
    if (!mDevicesFile) {
        return Refusal{kConflict, "the network devices are the kernel's and cannot be set"};
    }
    std::vector<NetDevice> devices;
    if (auto fault = ReadNetDevices(list, devices)) {
        return Refusal{kBadRequest, *fault};
    }
    const Value value(Parameter::NetDeviceList, NetDevicesText(devices));
    if (*value.Event() == *mValues.netDeviceList.Event()) {
        return std::nullopt;
    }
    if (auto refusal = Store(*mDevicesFile, StoredNetDevicesText(devices))) {
        return refusal;
    }
    mValues.netDeviceList = value;
    return std::nullopt;
}

void Settings::FollowDevices(const std::vector<NetDevice> &devices)
{
    mValues.netDeviceList = Value(Parameter::NetDeviceList, NetDevicesText(devices));
}

} // namespace configd
