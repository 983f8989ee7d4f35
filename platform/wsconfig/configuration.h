#pragma once

#include <array>
#include <cstddef>

// The numbers and names that the configuration service and its clients share, without
// Qt: beacon-configd links the library configuration-names, which has this header alone.
namespace configuration {

// The numbers of the service's parameters, in requests and events.
constexpr int kNetDeviceList = 19; // an array of network devices
constexpr int kSystemConfig = 24;  // an object: the system's settings

// The states of an interface's setup. The service sends the name of one of them as the
// member "interfaceSetupState" in the status of a network device.
enum class SetupState { Idle, Preparing, Complete, Failed };

// The names in the order of the enumerators.
constexpr std::array<const char *, 4> kSetupStateNames{"Idle", "Preparing", "Complete", "Failed"};

constexpr const char *NameOf(SetupState state)
{
    return kSetupStateNames.at(static_cast<std::size_t>(state));
}

} // namespace configuration
