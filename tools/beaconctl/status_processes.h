#pragma once

#include "beaconctl/status_observations.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Processes of this device, from the files in /proc (proc(5)). The readers are pure
// functions; they return nothing for a text that the kernel does not write.
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

// Whether this user sees the processes of others; false if /proc is mounted with hidepid.
[[nodiscard]] bool SeesProcesses();

// Whether a process has a socket. Only root and the process's user can see this. For other
// users: whether the process and the socket have the same user.
[[nodiscard]] bool HasSocket(const Process &process, const UdpSocket &socket);

// The product ID of the daemon, from its environment or, without it, from the product file.
[[nodiscard]] ProductID FindProductID(const Process &daemon);

// The rights of the user "beacond"; nothing if there is no such user.
[[nodiscard]] std::optional<Rights> RightsOfDaemonUser();

} // namespace beaconctl
