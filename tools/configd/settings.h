#pragma once

#include "configd/event_stream.h"
#include "configd/net_device.h"
#include "configd/stored_file.h"
#include "configd/system_config.h"

namespace configd {

// The answer to a refused request: an HTTP status and a description of the fault.
struct Refusal
{
    unsigned int status;
    std::string error;
};

// Settings holds the values that the service serves, and their files. A value from a
// client is written to its file before clients see it, so a restart never loses it. Owned
// by one thread, which waits for the storage.
class Settings
{
public:
    // Reads the files. If the state file does not exist, the device has its factory
    // settings; if the devices file does not exist, there are no devices. An empty
    // devicesFile means that clients cannot set the devices. The same defaults are served
    // while a file is not available (see StoredFile::Fault). Throws Failure with
    // kDamagedFile if a file is invalid; the service never overwrites such a file.
    Settings(std::string stateFile, std::string devicesFile);

    [[nodiscard]] const Values &Current() const { return mValues; }
    // Whether clients may set the devices.
    [[nodiscard]] bool ClientsSetDevices() const { return mDevicesFile.has_value(); }

    // The faults of the files that are not available.
    [[nodiscard]] std::vector<std::string> Faults() const;
    // Reads these files again, and serves their values. Throws as the constructor does.
    void LoadMissing();

    // Apply a client's JSON Merge Patch of the system configuration, or its new list of
    // devices. A refused request changes nothing. A request without a change writes no
    // file. Status 409 means that clients cannot set the devices, or that the file was
    // edited since this object read or wrote it; 503 that the file is not available or
    // cannot be written.
    [[nodiscard]] std::optional<Refusal> PatchSystem(std::string_view patch);
    [[nodiscard]] std::optional<Refusal> PutDevices(std::string_view list);

    // Sets the devices that the kernel reports.
    void FollowDevices(const std::vector<NetDevice> &devices);

private:
    StoredFile mStateFile;
    std::optional<StoredFile> mDevicesFile;
    SystemConfig mSystem;
    Values mValues;
};

} // namespace configd
