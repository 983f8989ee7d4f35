#pragma once

#include "configd/json_reader.h"
#include "wsconfig/configuration.h"

#include <vector>

// The list of network devices as clients see it. Pure functions.
namespace configd {

using configuration::SetupState;

struct NetDevice
{
    std::string name;    // kept by hand: meets kNameRule; the kernel's: any bytes
    std::string address; // IPv4 in dotted quads; empty: none
    SetupState state = SetupState::Idle;
    bool connected = false; // the link is there
};

// Reads a whole list: an array of devices, each with every member. On a fault
// devices is as it was.
[[nodiscard]] std::optional<Fault> ReadNetDevices(std::string_view text,
                                                  std::vector<NetDevice> &devices);

// The list as JSON: on one line for clients, or with one line for each device
// for the file. A name that is no UTF-8 gets U+FFFD in its place.
[[nodiscard]] std::string NetDevicesText(const std::vector<NetDevice> &devices);
[[nodiscard]] std::string StoredNetDevicesText(const std::vector<NetDevice> &devices);

} // namespace configd
