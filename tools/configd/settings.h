#pragma once

#include "configd/event_stream.h"
#include "configd/net_device.h"

namespace configd {

// Why a request was refused: a status of HTTP and what is wrong.
struct Refusal
{
    unsigned int status;
    std::string error;
};

// Settings holds what the service serves, and keeps its files. A value changes
// only after it was stored, so that nobody is told of what a restart would take
// back. Owned by one thread.
class Settings
{
public:
    // Reads the files; without a state file the device has its factory settings,
    // without a file of devices there are none. An empty devicesFile means that
    // the devices are not hand-kept. Throws std::runtime_error for a file that
    // cannot be read or holds anything else than it should: starting anyway would
    // end in overwriting what somebody meant to keep.
    Settings(std::string stateFile, std::string devicesFile);

    [[nodiscard]] const Values &Current() const { return mValues; }
    [[nodiscard]] bool HasHandKeptDevices() const { return !mDevicesFile.empty(); }

    // Grows with every change of Current().
    [[nodiscard]] unsigned int Revision() const { return mRevision; }

    // A client's JSON Merge Patch of the system configuration, and its new list
    // of devices. A refusal leaves everything as it was.
    [[nodiscard]] std::optional<Refusal> PatchSystem(std::string_view patch);
    [[nodiscard]] std::optional<Refusal> PutDevices(std::string_view list);

    // The devices as the kernel has them.
    void FollowDevices(const std::vector<NetDevice> &devices);

private:
    void Change(std::string &value, std::string text);

    const std::string mStateFile;
    const std::string mDevicesFile;
    nlohmann::json mSystem;
    Values mValues;
    unsigned int mRevision = 0;
};

} // namespace configd
