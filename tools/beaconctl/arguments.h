#pragma once

#include <chrono>
#include <string>
#include <vector>

// What the command line asks for.
struct Arguments
{
    enum class Command { Nodes, Hosts, Watch, Browse, Search, Help, Version };

    Command command = Command::Help;
    std::string operand; // file of browse, target of search; empty: the default
    std::string host;    // dotted quad; empty: this device, or the group for search
    std::chrono::milliseconds timeout{2000};
    bool json = false;
};

// Reads the words of a command line, byte for byte, without the program's name.
// False, with error set to one line that says what is wrong, if it is invalid.
[[nodiscard]] bool ReadArguments(const std::vector<std::string> &words, Arguments &arguments,
                                 std::string &error);

// What --help prints.
[[nodiscard]] std::string HelpText();
