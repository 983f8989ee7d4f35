#pragma once

#include <map>
#include <string>
#include <vector>

// The devices that beaconctl shows, and how they change between two listings.
namespace beaconctl {

// One device of a listing or of a browse list. Texts are bytes from the network: show
// them through SafeText only.
struct Entry
{
    std::string hostName;
    std::string product;
    std::string address;
    std::string usn;         // listings only; not always unique (see formats::ReadListing)
    std::string description; // browse lists only: the product's category
    std::string boardID;     // browse lists only
};

using Entries = std::vector<Entry>;

[[nodiscard]] bool operator==(const Entry &left, const Entry &right);

// The order in which entries are shown: by host name, then by address as a number,
// then by the other texts. Only equal entries are equivalent.
[[nodiscard]] bool operator<(const Entry &left, const Entry &right);

// The answer of a device's diagnostic port.
struct Listing
{
    Entries entries;
    bool cut = false; // entries may be missing
};

// The change of a device between two listings.
enum class Change { None, Came, Changed, Went };

struct ChangedEntry
{
    Entry entry;
    Change change;
};

// The devices of both listings, sorted by their entries. An entry that is only in the later
// listing came, and one that is only in the earlier one went. If two such entries have the
// same USN, they are one entry that changed, with the later texts.
// Several entries of the same USN are counted separately.
[[nodiscard]] std::vector<ChangedEntry> Compare(Entries before, Entries after);

// The mark that shows a change: '+', '~', '-' or a space.
[[nodiscard]] char Mark(Change change);

// Moves the entries that came, changed or went before the others; the order is otherwise
// kept.
void PutChangedFirst(std::vector<ChangedEntry> &entries);

// History compares each listing of a device with the one before, and marks a change for ten
// listings: the one that shows it first, and the next nine. Not thread-safe.
class History
{
public:
    // Takes the next listing. Returns what to report: all entries of the first
    // listing, with Change::None; of later listings only the changes.
    //
    // An entry that is missing in a cut listing may still be there: it is kept (up to 4096
    // entries in all), and reported as gone only if it is missing in a whole listing.
    [[nodiscard]] std::vector<ChangedEntry> Update(const Listing &listing);

    // The entries of the last listing and the recently departed ones, with their marks.
    [[nodiscard]] std::vector<ChangedEntry> Marked() const;

private:
    struct MarkOfEntry
    {
        Change change;
        int listings; // for which it still holds
    };

    void Remember(const std::vector<ChangedEntry> &changes);

    Entries mEntries;
    std::map<Entry, MarkOfEntry> mMarks;
    bool mHasListing = false;
};

} // namespace beaconctl
