#include "beaconctl/watch.h"

#include "beaconctl/diagnostic.h"

#include <algorithm>
#include <csignal>
#include <ctime>
#include <iostream>
#include <map>

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

// History keeps what was shown, so that a change stays marked for some steps.
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
            if (change.change != Change::None) {
                mMarks[change.entry.key] = {change, kMarkSteps};
            }
        }
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
};

// Draws over what stands on the screen.
void Redraw(const std::string &head, const std::string &table)
{
    std::string screen = "\x1b[H" + head + "\x1b[K\n\x1b[K\n";
    for (const char c : table) {
        screen += c == '\n' ? std::string("\x1b[K\n") : std::string(1, c);
    }
    std::cout << screen << "\x1b[J" << std::flush;
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
            Redraw(answered ? "Ctrl-C ends." : "Ctrl-C ends. " + error + "; trying again",
                   ChangesTable(history.Marked(), colours));
        }
        nanosleep(&kStep, nullptr);
    }
    return status;
}
