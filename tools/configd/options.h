#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace configd {

struct Options
{
    std::string stateFile = "/var/lib/beacon-configd/system.json";
    std::string devicesFile; // empty: the service reports the kernel's interface
    std::string interface = "net0";
    std::uint16_t port = 8080;
};

// Reads the command line. Returns nothing if the program is to run, otherwise the exit
// status: 0 after --help or --version (text on standard output), 2 if the command line is
// invalid (usage on standard error). Not thread-safe: uses getopt.
[[nodiscard]] std::optional<int> ReadOptions(int argc, char **argv, Options &options);

} // namespace configd
