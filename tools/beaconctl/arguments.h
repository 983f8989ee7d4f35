#pragma once

#include <QStringList>
#include <chrono>
#include <string>

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

// Reads a command line, the program's name first. False, with error set to one
// line that says what is wrong, for one that makes no sense.
[[nodiscard]] bool ReadArguments(const QStringList &words, Arguments &arguments,
                                 std::string &error);

// What --help prints.
[[nodiscard]] std::string HelpText();
