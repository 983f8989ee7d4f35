#include "beaconctl/watch.h"

#include "beaconctl/diagnostic.h"
#include "beaconctl/history.h"
#include "beaconctl/screen.h"
#include "beaconctl/standard_streams.h"

#include <csignal>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr int kPauseMs = 1000;
constexpr const char *kClearScreen = "\x1b[2J";

volatile std::sig_atomic_t gStatus = kFailed; // with which a signal ends the program
volatile std::sig_atomic_t gDrawing = 0;

// Ends the program from within the handler. A flag could be set just after the program
// has looked at it and before it waits for an answer, or for room in a pipe.
void End(int /*signal*/)
{
    pollfd terminal{STDOUT_FILENO, POLLOUT, 0};
    if (gDrawing != 0 && poll(&terminal, 1, 0) == 1) {
        static_cast<void>(!write(STDOUT_FILENO, kWrapLines.data(), kWrapLines.size()));
    }
    _exit(gStatus);
}

void EndOnSignals()
{
    struct sigaction action
    {
    };
    action.sa_handler = End;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

// The height of the terminal that standard output is; 0 if that is not known.
std::size_t TerminalHeight()
{
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_row : 0;
}

// What is known of the device after a question.
struct State
{
    std::string error; // empty if it answered
    bool cut = false;  // whether its last listing was
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
    gDrawing = 1;
    const bool drawn = WriteOutput(ScreenText(
        Head(arguments.host, state), ChangesTable(history.Marked(), colours), TerminalHeight()));
    gDrawing = 0;
    return drawn;
}

// Reports what is new since the state before: each fault once.
bool WriteLines(const Arguments &arguments, const State &before, const State &state,
                const std::vector<ChangedEntry> &changes)
{
    if (!state.error.empty() && state.error != before.error) {
        WriteError(state.error);
    }
    if (state.cut && !before.cut) {
        WriteError(CutNotice(arguments));
    }
    return WriteOutput((arguments.json && state.cut != before.cut ? CutJson(state.cut) : "") +
                       ChangesLines(changes, arguments.json));
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
        if (AskListing(arguments, "gn", listing, state.error)) {
            gStatus = gStatus == kFound || !listing.entries.empty() ? kFound : kNothingFound;
            changes = history.Update(listing);
            state.cut = listing.cut;
        }
        written = (terminal ? Draw(arguments, state, history, colours)
                            : WriteLines(arguments, before, state, changes)) &&
                  WaitWhileOutputIsRead(kPauseMs);
    }
    return kFailed;
}
