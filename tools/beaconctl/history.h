#pragma once

#include "beaconctl/changes.h"
#include "beaconctl/diagnostic_listing.h"

#include <map>
#include <vector>

// History compares each listing of a device with the one before and remembers what
// changed, so that a change stays marked for some listings.
class History
{
public:
    // Takes in a listing. Returns what is to be reported: of the first listing
    // every entry, with Change::None; of a later one the changes only.
    //
    // An entry that is missing in a cut listing may still be there: it is kept, and
    // reported as gone only when it is missing in a whole listing.
    std::vector<ChangedEntry> Update(const Listing &listing);

    // The entries as they stand, those that went lately included, with the marks.
    [[nodiscard]] std::vector<ChangedEntry> Marked() const;

private:
    struct MarkOfEntry
    {
        Change change;
        int listings; // for how many more it stands
    };

    void Remember(const std::vector<ChangedEntry> &changes);

    Entries mEntries;
    std::map<Entry, MarkOfEntry> mMarks;
    bool mIsBegun = false;
};
