#include "beaconctl/program_end.h"

#include "beaconctl/commands.h"
#include "beaconctl/terminal_text.h"

#include <csignal>
#include <poll.h>
#include <unistd.h>

namespace beaconctl {
namespace {

volatile std::sig_atomic_t gStatus = kFailed; // of the program if a signal ends it
volatile std::sig_atomic_t gDrawing = 0;

// Ends the program within the handler. If the handler only set a flag, a signal between
// the test of the flag and a wait would be noticed only after the wait.
void End(int /*signal*/)
{
    pollfd terminal{STDOUT_FILENO, POLLOUT, 0};
    if (gDrawing != 0 && poll(&terminal, 1, 0) == 1) {
        [[maybe_unused]] const ssize_t written =
            write(STDOUT_FILENO, kWrapLines.data(), kWrapLines.size());
    }
    _exit(gStatus);
}

} // namespace

void EndOnSignals()
{
    struct sigaction action = {};
    action.sa_handler = End;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

void NoteResult(bool found)
{
    gStatus = gStatus == kFound || found ? kFound : kNothingFound;
}

void NoteDrawing(bool drawing)
{
    gDrawing = drawing ? 1 : 0;
}

} // namespace beaconctl
