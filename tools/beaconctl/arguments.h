#pragma once

#include <chrono>
#include <string>
#include <vector>

// The command line. Pure functions.
namespace beaconctl {

struct Arguments
{
    enum class Command { Nodes, Hosts, Watch, Browse, Search, Monitor, Status, Help, Version };

    Command command = Command::Help;
    std::string operand; // file of browse, target of search; empty: the default
    std::string host;    // address or name; empty: this device (search: the multicast
                         // group; monitor: any device)
    std::string product; // monitor only: the name of a product; empty: any
    std::chrono::milliseconds timeout{2000};
    bool json = false;
};

// Reads the words of a command line, without the program's name. False, with error set to one
// line that names the fault, if the command line is invalid.
[[nodiscard]] bool ReadArguments(const std::vector<std::string> &words, Arguments &arguments,
                                 std::string &error);

// The text of --help.
[[nodiscard]] std::string HelpText();

} // namespace beaconctl
