#pragma once

#include "configd/event_stream.h"
#include "configd/net_device.h"
#include "configd/stored_file.h"
#include "configd/system_config.h"

namespace configd {

// Why a request was refused: a status of HTTP and what is wrong.
struct Refusal
{
    unsigned int status;
    std::string error;
};

// Settings holds what the service serves, and keeps its files. What clients set
// is stored first and served then, so a restart takes nothing back. Owned by one
// thread, which waits for the medium.
class Settings
{
public:
    // Reads the files; without a state file the device has its factory settings,
    // without a file of devices there are none. An empty devicesFile means that
    // the devices are not hand-kept. Throws Failure with kDamagedFile for a file
    // that holds anything else than it should: the service never overwrites it.
    // Serves the same defaults when a file is not available (StoredFile::Fault).
    Settings(std::string stateFile, std::string devicesFile);

    [[nodiscard]] const Values &Current() const { return mValues; }
    [[nodiscard]] bool HasHandKeptDevices() const { return mDevicesFile.has_value(); }

    // The faults of the files that are not available.
    [[nodiscard]] std::vector<std::string> Faults() const;
    // Reads these files again, and serves their values. Throws as the constructor does.
    void LoadMissing();

    // A client's JSON Merge Patch of the system configuration, and its new list
    // of devices. A refusal leaves everything as it was; a request that changes
    // nothing writes nothing. Refuses with 409 where the file on the medium is
    // not as this object read or wrote it: somebody edited it. Refuses with 503
    // where the file is not available or cannot be written.
    [[nodiscard]] std::optional<Refusal> PatchSystem(std::string_view patch);
    [[nodiscard]] std::optional<Refusal> PutDevices(std::string_view list);

    // The devices as the kernel has them.
    void FollowDevices(const std::vector<NetDevice> &devices);

private:
    StoredFile mStateFile;
    std::optional<StoredFile> mDevicesFile;
    SystemConfig mSystem;
    Values mValues;
};

} // namespace configd
