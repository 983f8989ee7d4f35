#include "beaconctl/changes.h"

#include <algorithm>
#include <iterator>
#include <map>

namespace {

// The entries that left has more often than right. Both are sorted.
Entries Difference(const Entries &left, const Entries &right)
{
    Entries result;
    std::set_difference(left.begin(), left.end(), right.begin(), right.end(),
                        std::back_inserter(result));
    return result;
}

} // namespace

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
