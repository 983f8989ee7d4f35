#include "beaconctl/arguments.h"
#include "beaconctl/browse_list.h"
#include "beaconctl/diagnostic.h"
#include "beaconctl/output.h"
#include "beaconctl/search.h"
#include "beaconctl/standard_streams.h"
#include "beaconctl/watch.h"

#include <algorithm>
#include <cstdlib>
#include <unistd.h>

namespace {

constexpr const char *kBrowseFile = "/var/www/discovery/browse.json";

bool WantsColours()
{
    // NOLINTNEXTLINE(concurrency-mt-unsafe): a program of one thread
    const char *const refused = std::getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) != 0 && (refused == nullptr || *refused == '\0');
}

ExitStatus Print(const std::string &text, ExitStatus status)
{
    return WriteOutput(text) ? status : kFailed;
}

ExitStatus Show(Entries &entries, Source source, bool json, bool cut)
{
    std::sort(entries.begin(), entries.end());
    return Print(json ? EntriesJson(entries, source, cut) : EntriesTable(entries, source),
                 entries.empty() ? kNothingFound : kFound);
}

ExitStatus ShowListing(const Arguments &arguments, const std::string &command)
{
    Listing listing;
    std::string error;
    if (!AskListing(arguments, command, listing, error)) {
        WriteError(error);
        return kFailed;
    }
    if (listing.cut) {
        WriteError(CutNotice(arguments));
    }
    return Show(listing.entries, Source::Listing, arguments.json, listing.cut);
}

ExitStatus ShowBrowseList(const Arguments &arguments)
{
    Entries entries;
    std::string error;
    const std::string file = arguments.operand.empty() ? kBrowseFile : arguments.operand;
    if (!ReadBrowseFile(file, entries, error)) {
        WriteError(error);
        return kFailed;
    }
    return Show(entries, Source::BrowseList, arguments.json, false);
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
        return Print(std::string("beaconctl ") + BEACOND_VERSION + '\n', kFound);
    case Arguments::Command::Help:
        break;
    }
    return Print(HelpText(), kFound);
}

} // namespace

int main(int argc, char **argv)
{
    OccupyClosedStreams();
    Arguments arguments;
    std::string error;
    // argc is 0 when a program is executed without even its name.
    if (!ReadArguments({argv + std::min(argc, 1), argv + argc}, arguments, error)) {
        WriteError(error + "\nTry 'beaconctl --help'.");
        return kUsage;
    }
    return Run(arguments);
}
