#include "beaconctl/entries.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdint>
#include <iterator>
#include <limits>
#include <tuple>

namespace beaconctl {
namespace {

// The address as a number; texts that are not addresses come last.
std::uint64_t AddressNumber(const std::string &address)
{
    in_addr binary{};
    return inet_pton(AF_INET, address.c_str(), &binary) == 1
               ? ntohl(binary.s_addr)
               : std::numeric_limits<std::uint64_t>::max();
}

auto AllTexts(const Entry &entry)
{
    return std::tie(entry.hostName, entry.address, entry.product, entry.usn, entry.description,
                    entry.boardID);
}

// The entries of left that right does not have, or has fewer times. Both are sorted.
Entries Difference(const Entries &left, const Entries &right)
{
    Entries result;
    std::set_difference(left.begin(), left.end(), right.begin(), right.end(),
                        std::back_inserter(result));
    return result;
}

constexpr int kMarkedListings = 10;
// The number of devices that a daemon discovers at most. While listings are cut, departed entries
// beyond this number are forgotten without a report: a device that invents names must not
// fill the memory.
constexpr std::size_t kMostEntries = 4096;

bool Stays(const ChangedEntry &change)
{
    return change.change != Change::Went;
}

// Turns departures into entries that stay, up to kMostEntries, and drops the others.
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

bool operator==(const Entry &left, const Entry &right)
{
    return AllTexts(left) == AllTexts(right);
}

bool operator<(const Entry &left, const Entry &right)
{
    if (left.hostName != right.hostName) {
        return left.hostName < right.hostName;
    }
    const std::uint64_t leftNumber = AddressNumber(left.address);
    const std::uint64_t rightNumber = AddressNumber(right.address);
    return leftNumber != rightNumber ? leftNumber < rightNumber : AllTexts(left) < AllTexts(right);
}

std::vector<ChangedEntry> Compare(Entries before, Entries after)
{
    std::sort(before.begin(), before.end());
    std::sort(after.begin(), after.end());
    std::multimap<std::string, Entry> gone; // by USN
    for (Entry &entry : Difference(before, after)) {
        gone.emplace(entry.usn, std::move(entry));
    }
    std::vector<ChangedEntry> all;
    for (Entry &entry : Difference(after, before)) {
        const auto former = gone.find(entry.usn);
        const bool known = former != gone.end();
        if (known) {
            gone.erase(former);
        }
        all.push_back({std::move(entry), known ? Change::Changed : Change::Came});
    }
    for (auto &[usn, entry] : gone) {
        all.push_back({std::move(entry), Change::Went});
    }
    Entries same;
    std::set_intersection(after.begin(), after.end(), before.begin(), before.end(),
                          std::back_inserter(same));
    for (Entry &entry : same) {
        all.push_back({std::move(entry), Change::None});
    }
    std::sort(all.begin(), all.end(), [](const ChangedEntry &left, const ChangedEntry &right) {
        return left.entry < right.entry;
    });
    return all;
}

char Mark(Change change)
{
    switch (change) {
    case Change::Came:
        return '+';
    case Change::Changed:
        return '~';
    case Change::Went:
        return '-';
    case Change::None:
        break;
    }
    return ' ';
}

void PutChangedFirst(std::vector<ChangedEntry> &entries)
{
    // Not std::stable_partition: clang 19 warns of a deprecated function that it calls in
    // the library of GCC 12.
    std::vector<ChangedEntry> first;
    std::vector<ChangedEntry> others;
    for (ChangedEntry &entry : entries) {
        (entry.change != Change::None ? first : others).push_back(std::move(entry));
    }
    std::move(others.begin(), others.end(), std::back_inserter(first));
    entries = std::move(first);
}

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
    if (!mHasListing) {
        mHasListing = true;
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

} // namespace beaconctl
