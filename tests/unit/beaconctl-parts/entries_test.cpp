#include "beaconctl/entries.h"

#include <gtest/gtest.h>
#include <string>

using namespace beaconctl;

namespace {

const Entry kA{"studio-a", "Corvia 12", "192.0.2.10", "uuid:1", "", ""};
const Entry kB{"studio-b", "Lumen Plus", "192.0.2.9", "uuid:2", "", ""};
const Entry kC{"studio-c", "TalonMx", "192.0.2.12", "uuid:3", "", ""};
const Entry kRenamedB{"gallery", "Lumen Plus", "192.0.2.9", "uuid:2", "", ""};

using Changes = std::vector<std::pair<Entry, Change>>;

Changes Between(const Entries &before, const Entries &after)
{
    Changes changes;
    for (const ChangedEntry &change : Compare(before, after)) {
        changes.emplace_back(change.entry, change.change);
    }
    return changes;
}

Listing Whole(Entries entries)
{
    return {std::move(entries), false};
}

Listing Cut(Entries entries)
{
    return {std::move(entries), true};
}

// The marks and host names of rows, such as "+studio-a  studio-b".
std::string Rows(const std::vector<ChangedEntry> &changes)
{
    std::string rows;
    for (const ChangedEntry &change : changes) {
        rows += std::string(rows.empty() ? "" : " ") + Mark(change.change) + change.entry.hostName;
    }
    return rows;
}

} // namespace

TEST(Compare, FindsEntriesThatCameChangedWentAndStayed)
{
    const Entry fresh{"x", "y", "z", "uuid:0", "", ""};
    const Entry same{"studio-c", "Lumen", "192.0.2.12", "uuid:3", "", ""};
    EXPECT_EQ(Between({kA, kB, same}, {kRenamedB, fresh, same}),
              (Changes{{kRenamedB, Change::Changed},
                       {kA, Change::Went},
                       {same, Change::None},
                       {fresh, Change::Came}}));
}

TEST(Compare, OrdersByHostNameThenByAddressAsANumber)
{
    const Entry ninth{"studio", "", "192.0.2.9", "uuid:z", "", ""};
    const Entry tenth{"studio", "", "192.0.2.10", "uuid:a", "", ""};
    const Entry nowhere{"studio", "", "1", "uuid:b", "", ""};
    EXPECT_EQ(Between({}, {nowhere, kB, tenth, kA, ninth}), (Changes{{ninth, Change::Came},
                                                                     {tenth, Change::Came},
                                                                     {nowhere, Change::Came},
                                                                     {kA, Change::Came},
                                                                     {kB, Change::Came}}));
}

TEST(Compare, AForgedEntryWithTheUSNOfADeviceDoesNotHideTheDevice)
{
    const Entry forged{"a", "Lumen", "192.0.2.66", kB.usn, "", ""};
    const Changes came{{forged, Change::Came}, {kB, Change::None}};
    EXPECT_EQ(Between({kB}, {forged, kB}), came);
    EXPECT_EQ(Between({kB}, {kB, forged}), came);
    EXPECT_EQ(Between({kB, forged}, {kB}), (Changes{{forged, Change::Went}, {kB, Change::None}}));
    EXPECT_EQ(Between({kB, kB}, {kB}), (Changes{{kB, Change::Went}, {kB, Change::None}}));
}

TEST(PutChangedFirst, KeepsTheOrderOfChangedAndOfUnchangedEntries)
{
    std::vector<ChangedEntry> entries{
        {kA, Change::None}, {kB, Change::Went}, {kC, Change::None}, {kRenamedB, Change::Came}};
    PutChangedFirst(entries);
    EXPECT_EQ(Rows(entries), "-studio-b +gallery  studio-a  studio-c");
}

TEST(History, ReportsAllOfTheFirstListingAsUnchangedAndThenOnlyChanges)
{
    History history;
    EXPECT_EQ(Rows(history.Update(Whole({kB, kA}))), " studio-a  studio-b");
    EXPECT_EQ(Rows(history.Update(Whole({kA, kB}))), "");
    EXPECT_EQ(Rows(history.Update(Whole({kB, kC}))), "-studio-a +studio-c");
}

TEST(History, ReportsADeviceThatAppearsAfterAnEmptyFirstListing)
{
    History history;
    EXPECT_EQ(Rows(history.Update(Whole({}))), "");
    EXPECT_EQ(Rows(history.Update(Whole({kA}))), "+studio-a");
}

TEST(History, DoesNotReportADeviceThatIsMissingInACutListingAsGone)
{
    History history;
    static_cast<void>(history.Update(Whole({kA, kB})));
    EXPECT_EQ(Rows(history.Update(Cut({kA, kC}))), "+studio-c");
    EXPECT_EQ(Rows(history.Marked()), " studio-a  studio-b +studio-c");
    EXPECT_EQ(Rows(history.Update(Cut({kA, kB}))), ""); // a device that returns is not new
    EXPECT_EQ(Rows(history.Update(Whole({kA, kB}))), "-studio-c");
}

TEST(History, ReportsAChangeInACutListing)
{
    Entry renamed = kB;
    renamed.hostName = "gallery";
    History history;
    static_cast<void>(history.Update(Whole({kA, kB})));
    EXPECT_EQ(Rows(history.Update(Cut({renamed}))), "~gallery");
    EXPECT_EQ(Rows(history.Marked()), "~gallery  studio-a");
}

TEST(History, KeepsAtMost4096EntriesOfCutListings)
{
    History history;
    for (int listing = 0; listing < 5; ++listing) {
        Entries invented(1000, kA);
        for (std::size_t number = 0; number < invented.size(); ++number) {
            invented[number].usn = std::to_string(listing) + "-" + std::to_string(number);
        }
        static_cast<void>(history.Update(Cut(invented)));
    }
    EXPECT_EQ(history.Marked().size(), 4096U);
}

TEST(History, MarksAChangeForTenListings)
{
    History history;
    static_cast<void>(history.Update(Whole({kA, kB})));
    static_cast<void>(history.Update(Whole({kB, kC})));
    for (int listing = 1; listing < 10; ++listing) {
        EXPECT_EQ(Rows(history.Marked()), "-studio-a  studio-b +studio-c") << listing;
        static_cast<void>(history.Update(Whole({kB, kC})));
    }
    EXPECT_EQ(Rows(history.Marked()), "-studio-a  studio-b +studio-c");
    static_cast<void>(history.Update(Whole({kB, kC})));
    EXPECT_EQ(Rows(history.Marked()), " studio-b  studio-c");
}

TEST(History, MarksOnlyOneOfTwoEqualEntriesAsGone)
{
    History history;
    static_cast<void>(history.Update(Whole({kA, kA})));
    static_cast<void>(history.Update(Whole({kA})));
    EXPECT_EQ(Rows(history.Marked()), " studio-a -studio-a");
}
