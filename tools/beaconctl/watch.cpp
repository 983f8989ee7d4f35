#include "beaconctl/watch.h"

#include "beaconctl/diagnostic.h"
#include "beaconctl/screen.h"

#include <algorithm>
#include <csignal>
#include <ctime>
#include <iostream>
#include <map>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr timespec kStep{1, 0};
constexpr int kMarkSteps = 10; // how long a change stays marked

volatile std::sig_atomic_t gEnd = 0;

void End(int /*signal*/)
{
    gEnd = 1;
}

void EndOnSignals()
{
    struct sigaction action
    {
    };
    action.sa_handler = End; // without SA_RESTART: a wait ends at once
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

// History keeps what was shown, so that a change stays marked for some steps. What
// the first listing holds did not come: it was there.
class History
{
public:
    // Takes a new listing in; what changed against the one before.
    std::vector<ChangedEntry> Update(const Entries &entries)
    {
        std::vector<ChangedEntry> changes = Compare(mEntries, entries);
        mEntries = entries;
        ForgetOld();
        for (const ChangedEntry &change : changes) {
            if (mIsBegun && change.change != Change::None) {
                mMarks[change.entry.key] = {change, kMarkSteps};
            }
        }
        mIsBegun = true;
        return changes;
    }

    // The listing with the marks that still stand.
    [[nodiscard]] std::vector<ChangedEntry> Marked() const
    {
        std::map<std::string, ChangedEntry> rows;
        for (const Entry &entry : mEntries) {
            rows[entry.key] = {entry, Change::None};
        }
        for (const auto &[key, mark] : mMarks) {
            const auto row = rows.find(key);
            if (row != rows.end()) {
                row->second.change = mark.change.change;
            } else if (mark.change.change == Change::Went) {
                rows[key] = mark.change;
            }
        }
        std::vector<ChangedEntry> result;
        std::transform(rows.begin(), rows.end(), std::back_inserter(result),
                       [](const auto &row) { return row.second; });
        return result;
    }

private:
    struct MarkedChange
    {
        ChangedEntry change;
        int steps;
    };

    void ForgetOld()
    {
        for (auto mark = mMarks.begin(); mark != mMarks.end();) {
            mark = --mark->second.steps <= 0 ? mMarks.erase(mark) : std::next(mark);
        }
    }

    Entries mEntries;
    std::map<std::string, MarkedChange> mMarks;
    bool mIsBegun = false;
};

// The height of the terminal that standard output is; 0 if that is not known.
std::size_t TerminalHeight()
{
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_row : 0;
}

std::string Head(const std::string &host, const std::string &error)
{
    return "Nodes of " + (host.empty() ? "this device" : host) +
           (error.empty() ? ". Came +, changed ~, went -." : ": " + error + "; trying again.") +
           " Ctrl-C ends.";
}

} // namespace

ExitStatus RunWatch(const Arguments &arguments, bool terminal, bool colours)
{
    EndOnSignals();
    History history;
    ExitStatus status = kNoAnswer;
    std::string lastError;
    std::cout << (terminal ? "\x1b[2J" : "");
    while (gEnd == 0) {
        Entries entries;
        std::string error;
        const bool answered = AskListing(arguments, "gn", entries, error);
        if (gEnd != 0) {
            break;
        }
        if (answered) {
            const auto changes = history.Update(entries);
            status = status == kFound || !entries.empty() ? kFound : kNothingFound;
            std::cout << (terminal ? "" : ChangesLines(changes, arguments.json)) << std::flush;
        } else if (!terminal && error != lastError) {
            std::cerr << "beaconctl: " << error << std::endl;
        }
        lastError = error;
        if (terminal) {
            std::cout << ScreenText(Head(arguments.host, error),
                                    ChangesTable(history.Marked(), colours), TerminalHeight())
                      << std::flush;
        }
        nanosleep(&kStep, nullptr);
    }
    return status;
}
