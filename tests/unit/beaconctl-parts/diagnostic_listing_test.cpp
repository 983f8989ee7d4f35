#include "beaconctl/diagnostic_listing.h"

#include <gtest/gtest.h>

namespace {

constexpr const char *kTwo = "NodeList"
                             "\n  ProductName:\"Corvia 12\"\n  HostName:   \"studio-a\""
                             "\n  IP:         192.0.2.10\n  USN:        uuid:1\n"
                             "\n  ProductName:\"Lumen\"\n  HostName:   \"a \"b\" c\""
                             "\n  IP:         192.0.2.11\n  USN:        uuid:2\n";

} // namespace

TEST(ReadListing, ReadsEveryEntry)
{
    const auto entries = ReadListing(kTwo, "NodeList");
    ASSERT_TRUE(entries);
    ASSERT_EQ(entries->size(), 2U);
    EXPECT_EQ(entries->at(0), (Entry{"uuid:1", "studio-a", "Corvia 12", "192.0.2.10", "uuid:1"}));
    EXPECT_EQ(entries->at(1), (Entry{"uuid:2", "a \"b\" c", "Lumen", "192.0.2.11", "uuid:2"}));
}

TEST(ReadListing, AcceptsAnEmptyRegistry)
{
    const auto entries = ReadListing("HostList", "HostList");
    ASSERT_TRUE(entries);
    EXPECT_TRUE(entries->empty());
}

TEST(ReadListing, RefusesWhatIsNoListing)
{
    EXPECT_FALSE(ReadListing("", "NodeList"));
    EXPECT_FALSE(ReadListing("HostList", "NodeList"));
    EXPECT_FALSE(ReadListing("Invalid operation\n", "NodeList"));
    EXPECT_FALSE(ReadListing("NodeList garbage", "NodeList"));
}

TEST(ReadListing, RefusesAListingCutWithinAnEntry)
{
    const std::string whole = kTwo;
    for (std::size_t length = 9; length < whole.size(); ++length) {
        if (whole.substr(length, 15) == "\n  ProductName:") {
            continue; // cut after a whole entry
        }
        EXPECT_FALSE(ReadListing(whole.substr(0, length), "NodeList")) << length;
    }
}
