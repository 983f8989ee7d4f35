#include "ssdp/device_map.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

SSDPDeviceType Record(const std::string &usn, const std::string &hostName = {})
{
    SSDPDeviceType record;
    record.usn = usn;
    record.hostName = hostName;
    return record;
}

TEST(UnconfirmedNodes, AreNoneAfterClear)
{
    formats::SSDPDeviceMap map;
    ssdp::UnconfirmedNodes nodes;
    const auto node = map.try_emplace("uuid:a").first;
    nodes.Add(node);
    EXPECT_EQ(nodes.Nodes(), std::list{node});
    nodes.Clear();
    EXPECT_TRUE(nodes.Nodes().empty());
    nodes.Remove(node);
    nodes.Add(node);
    EXPECT_EQ(nodes.Nodes(), std::list{node});
}

TEST(UnconfirmedNodes, RemovingANodeAgainRemovesNoOther)
{
    formats::SSDPDeviceMap map;
    ssdp::UnconfirmedNodes nodes;
    const auto removed = map.try_emplace("uuid:a").first;
    const auto other = map.try_emplace("uuid:b").first;
    nodes.Add(removed);
    nodes.Remove(removed);
    nodes.Add(other);
    nodes.Remove(removed);
    EXPECT_EQ(nodes.Nodes(), std::list{other});
}

TEST(IndexedDeviceMap, KeepsRecordsInByteWiseOrderOfTheirUSN)
{
    ssdp::IndexedDeviceMap map;
    for (const char *usn : {"b", "\xc3\xa9", "a", "ab", ""}) {
        map.insert_or_assign(Record(usn));
    }
    std::vector<std::string> order;
    for (const auto &entry : map) {
        order.push_back(entry.first);
    }
    EXPECT_EQ(order, (std::vector<std::string>{"", "a", "ab", "b", "\xc3\xa9"}));
}

TEST(IndexedDeviceMap, FindsRecordsByTheirWholeUSNOnly)
{
    ssdp::IndexedDeviceMap map;
    std::string usn;
    // The hash reads 8 bytes at a time. These lengths leave every possible remainder.
    for (int length = 0; length < 100; ++length) {
        map.insert_or_assign(Record(usn, std::to_string(length)));
        usn += 'x';
    }
    for (std::size_t length = 0; length < 100; ++length) {
        const auto found = map.find(std::string(length, 'x'));
        ASSERT_NE(found, map.end());
        EXPECT_EQ(found->second.hostName, std::to_string(length));
    }
    EXPECT_EQ(map.find(std::string(100, 'x')), map.end());
    EXPECT_EQ(map.find("y"), map.end());
    EXPECT_FALSE(map.contains(std::string("x\0", 2)));
}

TEST(IndexedDeviceMap, TryEmplaceKeepsARecordAndInsertOrAssignReplacesIt)
{
    ssdp::IndexedDeviceMap map;
    EXPECT_TRUE(map.try_emplace(Record("a", "first")).second);
    EXPECT_FALSE(map.try_emplace(Record("a", "second")).second);
    EXPECT_EQ(map.find("a")->second.hostName, "first");
    map.insert_or_assign(Record("a", "third"));
    EXPECT_EQ(map.find("a")->second.hostName, "third");
    EXPECT_EQ(map.Map().size(), 1U);
}

TEST(IndexedDeviceMap, FindsNoErasedRecord)
{
    ssdp::IndexedDeviceMap map;
    for (const char *usn : {"a", "b", "c"}) {
        map.insert_or_assign(Record(usn));
    }
    EXPECT_EQ(map.erase(map.find("a"))->first, "b");
    EXPECT_TRUE(map.erase("b"));
    EXPECT_FALSE(map.erase("b"));
    EXPECT_FALSE(map.contains("a"));
    EXPECT_FALSE(map.contains("b"));
    EXPECT_TRUE(map.contains("c"));
    map.clear();
    EXPECT_FALSE(map.contains("c"));
    map.insert_or_assign(Record("c"));
    EXPECT_TRUE(map.contains("c"));
}

} // namespace
