#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace configd {

struct Options
{
    std::string stateFile = "/var/lib/beacon-configd/system.json";
    std::string devicesFile; // empty: the devices follow the kernel's
    std::string interface = "net0";
    std::uint16_t port = 8080;
};

// Reads the command line. Returns the status to end with when the program is not
// to run: 0 after --help or --version, 2 for a command line that is wrong, with the text on
// standard output or the usage on standard error. One thread at a time (getopt).
[[nodiscard]] std::optional<int> ReadOptions(int argc, char **argv, Options &options);

} // namespace configd
