#include "ssdp/device_map.h"
#include "support/allocated.h"

#include <gtest/gtest.h>
#include <random>
#include <string>

namespace {

formats::SSDPDeviceMap::iterator Enter(formats::SSDPDeviceMap &map, ssdp::UsnIndex &index,
                                       const std::string &usn)
{
    const auto record = map.try_emplace(usn).first;
    index.Insert(record);
    return record;
}

std::string FoundName(const ssdp::UsnIndex &index, const std::string &usn)
{
    const ssdp::UsnIndex::Slot *slot = index.Find(usn);
    return slot == nullptr ? "none" : slot->record->first;
}

TEST(UsnIndex, FindsNothingInAnEmptyIndex)
{
    const ssdp::UsnIndex index;
    EXPECT_EQ(index.Find("uuid:a"), nullptr);
    EXPECT_EQ(index.Find({}), nullptr);
}

TEST(UsnIndex, FindReturnsTheRecordOfTheMap)
{
    formats::SSDPDeviceMap map;
    ssdp::UsnIndex index;
    const auto record = Enter(map, index, "uuid:a");
    ASSERT_NE(index.Find("uuid:a"), nullptr);
    EXPECT_EQ(index.Find("uuid:a")->record, record);
}

TEST(UsnIndex, ClearRemovesAllRecordsAndAllowsNewOnes)
{
    formats::SSDPDeviceMap map;
    ssdp::UsnIndex index;
    for (int number = 0; number < 1000; ++number) {
        Enter(map, index, std::to_string(number));
    }
    index.Clear();
    for (int number = 0; number < 1000; ++number) {
        ASSERT_EQ(FoundName(index, std::to_string(number)), "none");
    }
    index.Insert(map.find("7"));
    EXPECT_EQ(FoundName(index, "7"), "7");
}

TEST(UsnIndex, KeepsTheTimeOfEachDescriptionWhileRecordsAreAddedAndErased)
{
    formats::SSDPDeviceMap map;
    ssdp::UsnIndex index;
    for (std::uint32_t number = 0; number < 1000; ++number) {
        Enter(map, index, std::to_string(number));
        ASSERT_EQ(index.Find(std::to_string(number))->describedSeconds, 0U);
        index.Find(std::to_string(number))->describedSeconds = number + 1;
    }
    for (std::uint32_t number = 0; number < 1000; number += 3) {
        index.Erase(map.find(std::to_string(number)));
    }
    for (std::uint32_t number = 0; number < 1000; ++number) {
        if (number % 3 != 0) {
            ASSERT_EQ(index.Find(std::to_string(number))->describedSeconds, number + 1);
        }
    }
}

TEST(UsnIndex, NeedsNoMemoryForFormerRecords)
{
    formats::SSDPDeviceMap map;
    for (char name = 'A'; name <= 'Z'; ++name) {
        map.try_emplace(std::string(1, name));
    }
    ssdp::UsnIndex index;
    const std::size_t before = test::Allocated();
    for (int round = 0; round < 1000; ++round) {
        for (auto record = map.begin(); record != map.end(); ++record) {
            index.Insert(record);
        }
        if (round % 2 != 0) {
            index.Clear();
            continue;
        }
        for (auto record = map.begin(); record != map.end(); ++record) {
            index.Erase(record);
        }
    }
    EXPECT_LE(test::Allocated(), before);
}

// A table of 64 slots has at most 48 records. In some rounds, more than 32 of them have a hash with
// an even number, or with an odd one. A search that left out every second slot would then not end.
TEST(UsnIndex, FindsAsManyRecordsAsATableHasWhereverTheirSlotsAre)
{
    for (int round = 0; round < 1000; ++round) {
        formats::SSDPDeviceMap map;
        ssdp::UsnIndex index;
        for (int number = 0; number < 48; ++number) {
            Enter(map, index, std::to_string(1000 * number + round));
        }
        for (const auto &entry : map) {
            ASSERT_EQ(FoundName(index, entry.first), entry.first);
        }
        ASSERT_EQ(FoundName(index, "absent"), "none");
    }
}

// Random changes make the index grow, make runs of several entries, and make runs that
// cross the end of the table.
TEST(UsnIndex, FindsExactlyTheRecordsOfTheMapAfter20000Changes)
{
    std::mt19937 random(1900); // NOLINT(cert-msc51-cpp): the same changes each time
    formats::SSDPDeviceMap map;
    ssdp::UsnIndex index;
    for (int change = 0; change < 20000; ++change) {
        const std::string usn = "uuid:" + std::to_string(random() % 600);
        const auto record = map.find(usn);
        ASSERT_EQ(FoundName(index, usn), record == map.end() ? "none" : usn);
        if (record == map.end()) {
            Enter(map, index, usn);
        } else {
            index.Erase(record);
            map.erase(record);
        }
    }
    for (int number = 0; number < 600; ++number) {
        const std::string usn = "uuid:" + std::to_string(number);
        ASSERT_EQ(FoundName(index, usn), map.count(usn) == 0 ? "none" : usn);
    }
}

} // namespace
