#include "beaconctl/changes.h"

#include <map>

namespace {

std::map<std::string, Entry> ByKey(const Entries &entries)
{
    std::map<std::string, Entry> map;
    for (const Entry &entry : entries) {
        map[entry.key] = entry;
    }
    return map;
}

} // namespace

std::vector<ChangedEntry> Compare(const Entries &before, const Entries &after)
{
    const std::map<std::string, Entry> old = ByKey(before);
    std::map<std::string, ChangedEntry> all;
    for (const auto &[key, entry] : old) {
        all[key] = {entry, Change::Went};
    }
    for (const auto &[key, entry] : ByKey(after)) {
        const auto former = old.find(key);
        const Change change = former == old.end()       ? Change::Came
                              : former->second == entry ? Change::None
                                                        : Change::Changed;
        all[key] = {entry, change};
    }
    std::vector<ChangedEntry> result;
    result.reserve(all.size());
    for (const auto &[key, entry] : all) {
        result.push_back(entry);
    }
    return result;
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
