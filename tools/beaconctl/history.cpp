#include "beaconctl/history.h"

#include <algorithm>

namespace {

constexpr int kMarkedListings = 10;
// As many devices as a daemon knows. More are forgotten without a report while
// listings are cut: a device that invents names must not fill the memory.
constexpr std::size_t kMostEntries = 4096;

bool Stays(const ChangedEntry &change)
{
    return change.change != Change::Went;
}

// Turns departures into entries that stay, as far as there is room for them, and
// drops the others.
void KeepDeparted(std::vector<ChangedEntry> &changes)
{
    auto room = static_cast<std::ptrdiff_t>(kMostEntries) -
                std::count_if(changes.begin(), changes.end(), Stays);
    const auto dropped =
        std::remove_if(changes.begin(), changes.end(), [&room](ChangedEntry &change) {
            if (Stays(change)) {
                return false;
            }
            change.change = Change::None;
            return room-- <= 0;
        });
    changes.erase(dropped, changes.end());
}

} // namespace

std::vector<ChangedEntry> History::Update(const Listing &listing)
{
    std::vector<ChangedEntry> changes = Compare(mEntries, listing.entries);
    if (listing.cut) {
        KeepDeparted(changes);
    }
    mEntries.clear();
    for (const ChangedEntry &change : changes) {
        if (Stays(change)) {
            mEntries.push_back(change.entry);
        }
    }
    if (!mIsBegun) {
        mIsBegun = true;
        for (ChangedEntry &change : changes) {
            change.change = Change::None;
        }
        return changes;
    }
    changes.erase(
        std::remove_if(changes.begin(), changes.end(),
                       [](const ChangedEntry &change) { return change.change == Change::None; }),
        changes.end());
    Remember(changes);
    return changes;
}

void History::Remember(const std::vector<ChangedEntry> &changes)
{
    for (auto mark = mMarks.begin(); mark != mMarks.end();) {
        mark = --mark->second.listings <= 0 ? mMarks.erase(mark) : std::next(mark);
    }
    for (const ChangedEntry &change : changes) {
        mMarks[change.entry] = {change.change, kMarkedListings};
    }
}

std::vector<ChangedEntry> History::Marked() const
{
    std::vector<ChangedEntry> rows;
    for (const Entry &entry : mEntries) {
        const auto mark = mMarks.find(entry);
        const bool marked = mark != mMarks.end() && mark->second.change != Change::Went;
        rows.push_back({entry, marked ? mark->second.change : Change::None});
    }
    for (const auto &[entry, mark] : mMarks) {
        if (mark.change == Change::Went) {
            rows.push_back({entry, Change::Went});
        }
    }
    std::sort(rows.begin(), rows.end(), [](const ChangedEntry &left, const ChangedEntry &right) {
        return left.entry < right.entry;
    });
    return rows;
}
