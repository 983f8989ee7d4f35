#pragma once

#include "configd/json_reader.h"
#include "wsconfig/configuration.h"

#include <vector>

// The list of network devices in the format of the service's interface. Pure functions.
namespace configd {

using configuration::SetupState;

struct NetDevice
{
    std::string name;    // meets kNameRule if a client set it; any bytes if it is the kernel's
    std::string address; // a dotted quad; empty if there is none
    SetupState state = SetupState::Idle;
    bool connected = false; // whether the link is up
};

// Reads a list: an array of devices, each with all members. Leaves devices unchanged on
// a fault.
[[nodiscard]] std::optional<Fault> ReadNetDevices(std::string_view text,
                                                  std::vector<NetDevice> &devices);

// The list as JSON: on one line for clients, or with one line for each device for the
// file. Bytes of a name that are not UTF-8 are replaced by U+FFFD.
[[nodiscard]] std::string NetDevicesText(const std::vector<NetDevice> &devices);
[[nodiscard]] std::string StoredNetDevicesText(const std::vector<NetDevice> &devices);

} // namespace configd
