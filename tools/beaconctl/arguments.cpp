#include "beaconctl/arguments.h"

#include "beaconctl/terminal_text.h"

#include <charconv>
#include <map>

namespace beaconctl {
namespace {

constexpr double kShortestTimeout = 0.01; // seconds
constexpr double kLongestTimeout = 3600;
// Longer than the 3 s (MX) within which devices answer a search.
constexpr std::chrono::milliseconds kSearchTimeout{4000};

// The words of a command line: operands, and options with their values.
struct SortedWords
{
    std::vector<std::string> operands; // the first is the command
    std::map<std::string, std::string> options;

    [[nodiscard]] bool Has(const char *option) const { return options.count(option) != 0; }
};

const std::map<std::string, Arguments::Command> &Commands()
{
    static const std::map<std::string, Arguments::Command> commands{
        {"nodes", Arguments::Command::Nodes},   {"hosts", Arguments::Command::Hosts},
        {"watch", Arguments::Command::Watch},   {"browse", Arguments::Command::Browse},
        {"search", Arguments::Command::Search}, {"monitor", Arguments::Command::Monitor},
        {"status", Arguments::Command::Status}, {"help", Arguments::Command::Help},
    };
    return commands;
}

std::string Quoted(const std::string &word)
{
    return '"' + SafeText(word) + '"';
}

bool IsFlag(const std::string &option)
{
    return option == "help" || option == "h" || option == "version" || option == "json";
}

bool TakesValue(const std::string &option)
{
    return option == "host" || option == "timeout" || option == "product";
}

// Reads the option in a word. If the option takes a value and the word has none, the next
// word is the value.
bool SortOption(std::vector<std::string>::const_iterator &word,
                std::vector<std::string>::const_iterator end, SortedWords &sorted,
                std::string &error)
{
    const std::size_t equals = word->find('=');
    const bool hasValue = equals != std::string::npos;
    const std::string name = word->substr(0, equals).substr(word->at(1) == '-' ? 2 : 1);
    if (IsFlag(name) && !hasValue) {
        sorted.options[name];
    } else if (IsFlag(name)) {
        error = "--" + name + " takes no value";
    } else if (!TakesValue(name)) {
        error = "no such option: " + Quoted(*word);
    } else if (hasValue) {
        sorted.options[name] = word->substr(equals + 1);
    } else if (++word == end) {
        error = "a value is missing after --" + name;
    } else {
        sorted.options[name] = *word;
    }
    return error.empty();
}

bool Sort(const std::vector<std::string> &words, SortedWords &sorted, std::string &error)
{
    bool options = true; // until "--"
    for (auto word = words.begin(); word != words.end(); ++word) {
        if (!options || word->size() < 2 || word->front() != '-') {
            sorted.operands.push_back(*word);
        } else if (*word == "--") {
            options = false;
        } else if (!SortOption(word, words.end(), sorted, error)) {
            return false;
        }
    }
    return true;
}

bool ReadTimeout(const std::string &text, Arguments &arguments, std::string &error)
{
    double seconds = 0;
    const char *const end = text.data() + text.size();
    const std::from_chars_result read = std::from_chars(text.data(), end, seconds);
    if (read.ec != std::errc() || read.ptr != end ||
        !(seconds >= kShortestTimeout && seconds <= kLongestTimeout)) {
        error = "--timeout takes seconds from 0.01 to 3600, not " + Quoted(text);
        return false;
    }
    arguments.timeout = std::chrono::milliseconds(static_cast<int>(seconds * 1000));
    return true;
}

bool ReadHost(const std::string &text, Arguments &arguments, std::string &error)
{
    if (text.empty()) {
        error = "--host takes an IPv4 address or a name";
        return false;
    }
    arguments.host = text;
    return true;
}

// Checks and reads the options of monitor.
bool ReadMonitorOptions(const SortedWords &sorted, Arguments &arguments, std::string &error)
{
    const bool monitor = arguments.command == Arguments::Command::Monitor;
    if (monitor && sorted.Has("timeout")) {
        error = "monitor ends at Ctrl-C and does not take --timeout";
        return false;
    }
    if (!sorted.Has("product")) {
        return true;
    }
    arguments.product = sorted.options.at("product");
    if (!monitor) {
        error = "only monitor takes --product";
    } else if (arguments.product.empty()) {
        error = "--product takes the name of a product";
    }
    return error.empty();
}

bool ReadOptions(const SortedWords &sorted, Arguments &arguments, std::string &error)
{
    arguments.json = sorted.Has("json");
    if (arguments.command == Arguments::Command::Browse &&
        (sorted.Has("host") || sorted.Has("timeout"))) {
        error = "browse reads a file and does not take --host or --timeout";
        return false;
    }
    if (arguments.command == Arguments::Command::Status && sorted.Has("host")) {
        error = "status checks this device and does not take --host";
        return false;
    }
    if (!ReadMonitorOptions(sorted, arguments, error)) {
        return false;
    }
    if (arguments.command == Arguments::Command::Search) {
        arguments.timeout = kSearchTimeout;
    }
    return (!sorted.Has("timeout") ||
            ReadTimeout(sorted.options.at("timeout"), arguments, error)) &&
           (!sorted.Has("host") || ReadHost(sorted.options.at("host"), arguments, error));
}

bool TakesOperand(Arguments::Command command)
{
    return command == Arguments::Command::Browse || command == Arguments::Command::Search;
}

bool ReadCommand(const std::vector<std::string> &operands, Arguments &arguments, std::string &error)
{
    if (operands.empty()) {
        error = "a command is missing";
        return false;
    }
    const auto command = Commands().find(operands[0]);
    if (command == Commands().end()) {
        error = "no such command: " + Quoted(operands[0]);
        return false;
    }
    arguments.command = command->second;
    if (operands.size() > (TakesOperand(arguments.command) ? 2 : 1)) {
        error = "too many words: " + Quoted(operands.back());
        return false;
    }
    arguments.operand = operands.size() > 1 ? operands[1] : std::string();
    if (arguments.command == Arguments::Command::Search &&
        arguments.operand.find_first_of("\r\n") != std::string::npos) {
        error = "a search target must be one line";
        return false;
    }
    return true;
}

} // namespace

bool ReadArguments(const std::vector<std::string> &words, Arguments &arguments, std::string &error)
{
    SortedWords sorted;
    if (!Sort(words, sorted, error)) {
        return false;
    }
    if (sorted.Has("help") || sorted.Has("h")) {
        arguments.command = Arguments::Command::Help;
        return true;
    }
    if (sorted.Has("version")) {
        arguments.command = Arguments::Command::Version;
        return true;
    }
    return ReadCommand(sorted.operands, arguments, error) && ReadOptions(sorted, arguments, error);
}

std::string HelpText()
{
    return "usage: beaconctl [OPTION...] COMMAND\n"
           "\n"
           "Shows the services that a beacond knows and announces.\n"
           "\n"
           "  nodes             every service that the device knows\n"
           "  hosts             the services that the device announces\n"
           "  watch             a live table of nodes with their changes, until Ctrl-C:\n"
           "                    new (+), changed (~) and gone (-)\n"
           "  browse [FILE]     a browse list, by default this device's\n"
           "                    /var/www/discovery/browse.json\n"
           "  search [TARGET]   searches the network by SSDP, by default for ssdp:all, and\n"
           "                    prints each answer when it arrives\n"
           "  status            checks everything that discovery on this device needs, and\n"
           "                    says how to mend each fault\n"
           "  monitor           the SSDP datagrams on this machine's network, a line for each,\n"
           "                    until Ctrl-C; as root unicast, too\n"
           "  help              prints this text\n"
           "\n"
           "  --host HOST       ask this device instead of the device that runs beaconctl: an\n"
           "                    IPv4 address, a name that the command nodes lists, or a host\n"
           "                    name; with search: search this device only; with monitor:\n"
           "                    show datagrams from and to this device only\n"
           "  --product NAME    with monitor: only datagrams that name this product, such as\n"
           "                    \"Corvia 12\"\n"
           "  --timeout SECONDS how long to wait for answers: 2, with search 4\n"
           "  --json            JSON for scripts, with texts in full; with watch, search and\n"
           "                    monitor one line for each change, answer or datagram\n"
           "  --help, --version\n"
           "\n"
           "Exit status: 0 found, 1 nothing found, 2 invalid command line, 3 no valid answer\n"
           "or file, or the output cannot be written. Of status: 0 healthy, 1 degraded,\n"
           "3 beacond does not run.\n";
}

} // namespace beaconctl
