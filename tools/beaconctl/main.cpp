#include "beaconctl/arguments.h"
#include "beaconctl/browse_list.h"
#include "beaconctl/diagnostic.h"
#include "beaconctl/output.h"
#include "beaconctl/search.h"
#include "beaconctl/watch.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <unistd.h>

namespace {

constexpr const char *kBrowseFile = "/var/www/discovery/browse.json";

bool WantsColours()
{
    // NOLINTNEXTLINE(concurrency-mt-unsafe): a program of one thread
    const char *const refused = std::getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) != 0 && (refused == nullptr || *refused == '\0');
}

ExitStatus Show(const Entries &entries, Detail detail, bool json)
{
    std::cout << (json ? EntriesJson(entries, detail)
                       : EntriesTable(entries, detail, WantsColours()));
    return entries.empty() ? kNothingFound : kFound;
}

ExitStatus Complain(const std::string &error)
{
    std::cerr << "beaconctl: " << error << '\n';
    return kNoAnswer;
}

ExitStatus ShowListing(const Arguments &arguments, const std::string &command)
{
    Entries entries;
    std::string error;
    return AskListing(arguments, command, entries, error)
               ? Show(entries, Detail::Usn, arguments.json)
               : Complain(error);
}

ExitStatus ShowBrowseList(const Arguments &arguments)
{
    Entries entries;
    std::string error;
    const std::string file = arguments.operand.empty() ? kBrowseFile : arguments.operand;
    return ReadBrowseFile(file, entries, error) ? Show(entries, Detail::Description, arguments.json)
                                                : Complain(error);
}

ExitStatus Run(const Arguments &arguments)
{
    switch (arguments.command) {
    case Arguments::Command::Nodes:
        return ShowListing(arguments, "gn");
    case Arguments::Command::Hosts:
        return ShowListing(arguments, "gh");
    case Arguments::Command::Watch:
        return RunWatch(arguments, isatty(STDOUT_FILENO) != 0 && !arguments.json, WantsColours());
    case Arguments::Command::Browse:
        return ShowBrowseList(arguments);
    case Arguments::Command::Search:
        return RunSearch(arguments);
    case Arguments::Command::Version:
        std::cout << "beaconctl " << BEACOND_VERSION << '\n';
        break;
    case Arguments::Command::Help:
        std::cout << HelpText();
        break;
    }
    return kFound;
}

} // namespace

int main(int argc, char **argv)
{
    Arguments arguments;
    std::string error;
    // argc is 0 when a program is executed without even its name.
    if (!ReadArguments({argv + std::min(argc, 1), argv + argc}, arguments, error)) {
        std::cerr << "beaconctl: " << error << "\nTry 'beaconctl --help'.\n";
        return kUsage;
    }
    return Run(arguments);
}
