#include "beaconctl/commands.h"

#include "beaconctl/entries.h"
#include "beaconctl/host_address.h"
#include "beaconctl/monitor.h"
#include "beaconctl/output.h"
#include "beaconctl/program_end.h"
#include "beaconctl/sources.h"
#include "beaconctl/terminal_text.h"
#include "formats/ssdp_protocol.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sys/ioctl.h>
#include <unistd.h>

namespace beaconctl {
namespace {

constexpr const char *kBrowseFile = "/var/www/discovery/browse.json";
constexpr const char *kEverything = "ssdp:all";
constexpr int kPauseMs = 1000; // of watch, between two questions
constexpr const char *kClearScreen = "\x1b[2J";

// The height of the terminal; 0 if it is not known.
std::size_t TerminalHeight()
{
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_row : 0;
}

// The result of the last question.
struct State
{
    std::string error; // empty if the device answered
    bool cut = false;  // whether the last listing was cut
};

std::string Head(const std::string &host, const State &state)
{
    const std::string nodes = "Nodes of " + (host.empty() ? "this device" : host);
    if (!state.error.empty()) {
        return nodes + ": " + state.error + "; trying again. Ctrl-C ends.";
    }
    return nodes +
           (state.cut ? ". Cut: some may be missing, none counts as gone. New +, changed ~."
                      : ". New +, changed ~, gone -.") +
           " Ctrl-C ends.";
}

bool Draw(const Arguments &arguments, const State &state, const History &history, bool colours)
{
    std::vector<ChangedEntry> rows = history.Marked();
    const std::size_t height = TerminalHeight();
    if (!FitsOnScreen(rows.size() + 1, height)) {
        PutChangedFirst(rows);
    }
    NoteDrawing(true);
    const bool drawn =
        WriteOutput(ScreenText(Head(arguments.host, state), ChangesTable(rows, colours), height));
    NoteDrawing(false);
    return drawn;
}

// The line that reports a cut listing.
std::string CutNotice(const Arguments &arguments)
{
    return "the listing of " + AskedHost(arguments) +
           " is cut at the size of a datagram: devices may be missing";
}

// Writes the fault of a question. A missing answer can have many causes, which the command
// status distinguishes.
void WriteAskingError(const std::string &error)
{
    WriteError(error);
    if (error.compare(0, kNoAnswer.size(), kNoAnswer) == 0) {
        WriteError("run 'beaconctl status' on that device to find the cause");
    }
}

// Writes the changes; also a fault or the notice of a cut listing, but only when it begins.
bool WriteLines(const Arguments &arguments, const State &before, const State &state,
                const std::vector<ChangedEntry> &changes)
{
    if (!state.error.empty() && state.error != before.error) {
        WriteAskingError(state.error);
    }
    if (state.cut && !before.cut) {
        WriteError(CutNotice(arguments));
    }
    return WriteOutput((arguments.json && state.cut != before.cut ? CutJson(state.cut) : "") +
                       ChangesLines(changes, arguments.json));
}

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
    return Print(json ? EntriesJson(entries, cut) : EntriesTable(entries, source),
                 entries.empty() ? kNothingFound : kFound);
}

ExitStatus ShowListing(const Arguments &arguments, const formats::ListingKind &kind)
{
    Listing listing;
    std::string error;
    if (!AskListing(arguments, kind, listing, error)) {
        WriteAskingError(error);
        return kFailed;
    }
    if (listing.cut) {
        WriteError(CutNotice(arguments));
    }
    if (listing.entries.empty()) {
        WriteError(AskedHost(arguments) + (kind.command == formats::kNodeListing.command
                                               ? " knows no services"
                                               : " announces no services"));
    }
    return Show(listing.entries, Source::Listing, arguments.json, listing.cut);
}

ExitStatus ShowBrowseList(const Arguments &arguments)
{
    Entries entries;
    std::string json;
    std::string error;
    const std::string file = arguments.operand.empty() ? kBrowseFile : arguments.operand;
    if (arguments.json ? !CopyBrowseFile(file, json, error)
                       : !ReadBrowseFile(file, entries, error)) {
        WriteError(error);
        return kFailed;
    }
    if (arguments.json) {
        return Print(SafeJson(json) + '\n', json == "[]" ? kNothingFound : kFound);
    }
    return Show(entries, Source::BrowseList, false, false);
}

ExitStatus RunSearch(const Arguments &arguments)
{
    Question question;
    const auto end = Question::Clock::now() + arguments.timeout;
    const std::string host = arguments.host.empty() ? formats::kMulticastAddress : arguments.host;
    const std::string target = arguments.operand.empty() ? kEverything : arguments.operand;
    const sockaddr_in destination = ParseAddress(host, formats::kPort).value_or(sockaddr_in());
    if (const int fault =
            question.Send(formats::ComposeStandardSearchRequest(target), destination)) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): a program of one thread
        WriteError(std::string("cannot search: ") + strerror(fault));
        return kFailed;
    }
    ExitStatus status = kNothingFound;
    sockaddr_in sender{};
    while (const auto datagram = question.Receive(end, sender)) {
        if (const auto headers = formats::ReadSearchResponse(*datagram)) {
            if (!WriteOutput(AnswerText(AddressText(sender.sin_addr), *headers, arguments.json))) {
                return kFailed;
            }
            status = kFound;
        }
    }
    if (status == kNothingFound) {
        WriteError("nobody answered");
    }
    return status;
}

} // namespace

ExitStatus RunWatch(const Arguments &arguments, bool terminal, bool colours)
{
    EndOnSignals();
    History history;
    State state;
    bool written = !terminal || WriteOutput(kClearScreen);
    while (written) {
        const State before = state;
        Listing listing;
        std::vector<ChangedEntry> changes;
        state.error.clear();
        if (AskListing(arguments, formats::kNodeListing, listing, state.error)) {
            NoteResult(!listing.entries.empty());
            changes = history.Update(listing);
            state.cut = listing.cut;
        }
        written = (terminal ? Draw(arguments, state, history, colours)
                            : WriteLines(arguments, before, state, changes)) &&
                  WaitWhileOutputIsRead(kPauseMs);
    }
    return kFailed;
}

ExitStatus RunCommand(Arguments arguments)
{
    std::string error;
    if (!FindHost(arguments, error)) {
        WriteError(error);
        return kFailed;
    }
    switch (arguments.command) {
    case Arguments::Command::Nodes:
        return ShowListing(arguments, formats::kNodeListing);
    case Arguments::Command::Hosts:
        return ShowListing(arguments, formats::kHostListing);
    case Arguments::Command::Watch:
        return RunWatch(arguments, isatty(STDOUT_FILENO) != 0 && !arguments.json, WantsColours());
    case Arguments::Command::Browse:
        return ShowBrowseList(arguments);
    case Arguments::Command::Search:
        return RunSearch(arguments);
    case Arguments::Command::Monitor:
        return RunMonitor(arguments);
    case Arguments::Command::Status:
        return RunStatus(arguments);
    case Arguments::Command::Version:
        return Print(std::string("beaconctl ") + BEACOND_VERSION + '\n', kFound);
    case Arguments::Command::Help:
        break;
    }
    return Print(HelpText(), kFound);
}

} // namespace beaconctl
