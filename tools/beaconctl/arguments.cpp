#include "beaconctl/arguments.h"

#include "beaconctl/safe_text.h"
#include "beaconctl/udp_client.h"

#include <QCommandLineParser>
#include <map>

namespace {

constexpr double kShortestTimeout = 0.01; // seconds
constexpr double kLongestTimeout = 3600;
// Longer than the three seconds that a searched device may take.
constexpr std::chrono::milliseconds kSearchTimeout{4000};

const std::map<QString, Arguments::Command> &Commands()
{
    static const std::map<QString, Arguments::Command> commands{
        {QStringLiteral("nodes"), Arguments::Command::Nodes},
        {QStringLiteral("hosts"), Arguments::Command::Hosts},
        {QStringLiteral("watch"), Arguments::Command::Watch},
        {QStringLiteral("browse"), Arguments::Command::Browse},
        {QStringLiteral("search"), Arguments::Command::Search}};
    return commands;
}

void DeclareOptions(QCommandLineParser &parser)
{
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser.addOption({{QStringLiteral("h"), QStringLiteral("help")}, QString()});
    parser.addOption({QStringLiteral("version"), QString()});
    parser.addOption({QStringLiteral("json"), QString()});
    parser.addOption({QStringLiteral("host"), QString(), QStringLiteral("address")});
    parser.addOption({QStringLiteral("timeout"), QString(), QStringLiteral("seconds")});
}

bool ReadTimeout(const QString &text, Arguments &arguments, std::string &error)
{
    bool number = false;
    const double seconds = text.toDouble(&number);
    if (!number || !(seconds >= kShortestTimeout && seconds <= kLongestTimeout)) {
        error = "--timeout takes seconds from 0.01 to 3600, not \"" + SafeText(text.toStdString()) +
                "\"";
        return false;
    }
    arguments.timeout = std::chrono::milliseconds(static_cast<int>(seconds * 1000));
    return true;
}

bool ReadHost(const QString &text, Arguments &arguments, std::string &error)
{
    arguments.host = text.toStdString();
    if (!ParseAddress(arguments.host, 0)) {
        error = "--host takes an IPv4 address, not \"" + SafeText(arguments.host) + "\"";
        return false;
    }
    return true;
}

bool ReadOptions(const QCommandLineParser &parser, Arguments &arguments, std::string &error)
{
    arguments.json = parser.isSet(QStringLiteral("json"));
    if (arguments.command == Arguments::Command::Browse &&
        (parser.isSet(QStringLiteral("host")) || parser.isSet(QStringLiteral("timeout")))) {
        error = "browse reads a file, without --host and --timeout";
        return false;
    }
    if (arguments.command == Arguments::Command::Search) {
        arguments.timeout = kSearchTimeout;
    }
    return (!parser.isSet(QStringLiteral("timeout")) ||
            ReadTimeout(parser.value(QStringLiteral("timeout")), arguments, error)) &&
           (!parser.isSet(QStringLiteral("host")) ||
            ReadHost(parser.value(QStringLiteral("host")), arguments, error));
}

bool TakesOperand(Arguments::Command command)
{
    return command == Arguments::Command::Browse || command == Arguments::Command::Search;
}

bool ReadCommand(const QStringList &words, Arguments &arguments, std::string &error)
{
    if (words.isEmpty()) {
        error = "a command is missing";
        return false;
    }
    const auto command = Commands().find(words[0]);
    if (command == Commands().end()) {
        error = "no such command: \"" + SafeText(words[0].toStdString()) + "\"";
        return false;
    }
    arguments.command = command->second;
    if (words.size() > (TakesOperand(arguments.command) ? 2 : 1)) {
        error = "too many words: \"" + SafeText(words.last().toStdString()) + "\"";
        return false;
    }
    arguments.operand = words.value(1).toStdString();
    if (arguments.command == Arguments::Command::Search &&
        arguments.operand.find_first_of("\r\n") != std::string::npos) {
        error = "a search target is one line";
        return false;
    }
    return true;
}

} // namespace

bool ReadArguments(const QStringList &words, Arguments &arguments, std::string &error)
{
    QCommandLineParser parser;
    DeclareOptions(parser);
    if (!parser.parse(words)) {
        error = SafeText(parser.errorText().toStdString());
        return false;
    }
    if (parser.isSet(QStringLiteral("help")) || parser.isSet(QStringLiteral("version"))) {
        arguments.command = parser.isSet(QStringLiteral("help")) ? Arguments::Command::Help
                                                                 : Arguments::Command::Version;
        return true;
    }
    return ReadCommand(parser.positionalArguments(), arguments, error) &&
           ReadOptions(parser, arguments, error);
}

std::string HelpText()
{
    return "usage: beaconctl [OPTION...] COMMAND\n"
           "\n"
           "Shows what a beacond sees and announces.\n"
           "\n"
           "  nodes             every service that the device knows\n"
           "  hosts             the services that the device announces\n"
           "  watch             a live table of nodes, with what came (+), changed (~)\n"
           "                    and went (-), until Ctrl-C\n"
           "  browse [FILE]     a browse list, by default this device's\n"
           "                    /var/www/discovery/browse.json\n"
           "  search [TARGET]   asks the network by SSDP, by default for ssdp:all, and\n"
           "                    prints each answer as it comes\n"
           "\n"
           "  --host ADDRESS    ask this device, not the one that beaconctl runs on;\n"
           "                    with search, this device alone\n"
           "  --timeout SECONDS how long to wait for answers: 2, or 4 with search\n"
           "  --json            JSON for scripts; with watch and search a line for each\n"
           "                    change or answer\n"
           "  --help, --version\n"
           "\n"
           "Exit status: 0 found, 1 nothing found, 2 usage, 3 no answer to be had.\n";
}
