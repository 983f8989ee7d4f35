#pragma once

#include "beaconctl/status_observations.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Processes of this device, from the files in /proc (proc(5)). ReadProcessStat,
// ReadProcessStatus and ReadVariable are pure functions. The first two return nothing for a text
// in another form than the kernel's.
namespace beaconctl {

// Fields of /proc/PID/stat.
struct ProcessStat
{
    bool hasEnded = false;            // a zombie
    unsigned long long startTick = 0; // since the start of the system
};
[[nodiscard]] std::optional<ProcessStat> ReadProcessStat(std::string_view stat);

// Fields of /proc/PID/status.
struct ProcessStatus
{
    Rights rights;            // the effective ones
    bool inContainer = false; // in another PID namespace than the reader of /proc
};
[[nodiscard]] std::optional<ProcessStatus> ReadProcessStatus(std::string_view status);

// The value of a variable in /proc/PID/environ; nothing if it is not set.
[[nodiscard]] std::optional<std::string> ReadVariable(std::string_view environment,
                                                      std::string_view name);

// A file's text; nothing, with errno as the system left it, if it cannot be read.
[[nodiscard]] std::optional<std::string> ReadText(const std::string &path);

// The running processes of a program, ordered by their start. Without those that are known
// to have another network, for instance in a container.
[[nodiscard]] std::vector<Process> FindProcesses(std::string_view program);

// Whether this user sees the processes of others. If /proc is mounted with hidepid, only root
// sees them.
[[nodiscard]] bool SeesProcesses();

// Whether a process has a socket. Only root and the process's user can see this. For other
// users: whether the process and the socket have the same user.
[[nodiscard]] bool HasSocket(const Process &process, const UdpSocket &socket);

// The product ID of the daemon: the variable PRODUCT_ID of its environment, or the product file if
// the variable is not set.
[[nodiscard]] ProductID FindProductID(const Process &daemon);

// The rights of the user "beacond"; nothing if there is no such user.
[[nodiscard]] std::optional<Rights> RightsOfDaemonUser();

} // namespace beaconctl
