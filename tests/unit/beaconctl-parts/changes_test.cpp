#include "beaconctl/changes.h"

#include <gtest/gtest.h>

namespace {

const Entry kA{"studio-a", "Corvia 12", "192.0.2.10", "uuid:1", "", ""};
const Entry kB{"studio-b", "Lumen Plus", "192.0.2.9", "uuid:2", "", ""};
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

} // namespace

TEST(Compare, FindsWhatCameChangedWentAndStayed)
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

TEST(Compare, LetsNoForgedEntryOfTheSameUSNHideADevice)
{
    const Entry forged{"a", "Lumen", "192.0.2.66", kB.usn, "", ""};
    const Changes came{{forged, Change::Came}, {kB, Change::None}};
    EXPECT_EQ(Between({kB}, {forged, kB}), came);
    EXPECT_EQ(Between({kB}, {kB, forged}), came);
    EXPECT_EQ(Between({kB, forged}, {kB}), (Changes{{forged, Change::Went}, {kB, Change::None}}));
    EXPECT_EQ(Between({kB, kB}, {kB}), (Changes{{kB, Change::Went}, {kB, Change::None}}));
}
