#include "formats/diagnostic_listing.h"

#include <gtest/gtest.h>
#include <tuple>

using formats::ReadListing;

namespace {

constexpr std::size_t kDatagram = 65507; // the payload of the largest IPv4 datagram

// The four texts of an entry.
struct Node
{
    std::string product;
    std::string hostName;
    std::string address;
    std::string usn;
};
using Nodes = std::vector<Node>;

bool operator==(const Node &a, const Node &b)
{
    return std::tie(a.product, a.hostName, a.address, a.usn) ==
           std::tie(b.product, b.hostName, b.address, b.usn);
}

std::string Listed(const Node &node)
{
    return "\n  ProductName:\"" + node.product + "\"\n  HostName:   \"" + node.hostName +
           "\"\n  IP:         " + node.address + "\n  USN:        " + node.usn + "\n";
}

Nodes Read(const std::string &entries)
{
    Nodes nodes;
    const auto listing = ReadListing("NodeList" + entries, "NodeList");
    EXPECT_TRUE(listing);
    for (const SSDPDeviceType &service : listing.value_or(formats::DiagnosticListing()).services) {
        nodes.push_back({service.productName, service.hostName, service.ipAddress, service.usn});
    }
    return nodes;
}

// The entries that are read for a node between two others, which must be read exactly.
Nodes ReadBetweenOthers(const Node &node)
{
    const Node first{"Lumen", "studio-a", "192.0.2.10", "uuid:1"};
    const Node last{"Lumen", "studio-b", "192.0.2.11", "uuid:2"};
    Nodes nodes = Read(Listed(first) + Listed(node) + Listed(last));
    if (nodes.size() < 3 || !(nodes.front() == first) || !(nodes.back() == last)) {
        ADD_FAILURE() << "the other entries are misread";
        return {};
    }
    return {nodes.begin() + 1, nodes.end() - 1};
}

// A listing of this size, with one entry.
std::string ListingOfSize(std::size_t size)
{
    const std::string empty = "NodeList" + Listed({});
    return "NodeList" + Listed(Node{"", "", "", std::string(size - empty.size(), 'u')});
}

} // namespace

TEST(ReadListing, ReadsEveryEntry)
{
    const Node one{"Corvia 12", "studio-a", "192.0.2.10", "uuid:1"};
    const Node two{"Lumen", "a \"b\" c", "192.0.2.11", "uuid:2"};
    EXPECT_EQ(Read(Listed(one) + Listed(two)), (Nodes{one, two}));
}

TEST(ReadListing, AcceptsAnEmptyRegistry)
{
    const auto listing = ReadListing("HostList", "HostList");
    ASSERT_TRUE(listing);
    EXPECT_TRUE(listing->services.empty());
    EXPECT_FALSE(listing->cut);
}

TEST(ReadListing, RefusesOtherTexts)
{
    EXPECT_FALSE(ReadListing("", "NodeList"));
    EXPECT_FALSE(ReadListing("HostList", "NodeList"));
    EXPECT_FALSE(ReadListing("Invalid operation\n", "NodeList"));
    EXPECT_FALSE(ReadListing("NodeList garbage", "NodeList"));
    EXPECT_FALSE(ReadListing("NodeList\n", "NodeList"));
}

TEST(ReadListing, RefusesAListingThatDoesNotEndLikeAnEntry)
{
    const std::string whole =
        "NodeList" + Listed(Node{"Lumen", "studio-a", "192.0.2.10", "uuid:1"});
    for (std::size_t length = 9; length < whole.size(); ++length) {
        if (whole[length - 1] != '\n' || length < 24) {
            EXPECT_FALSE(ReadListing(whole.substr(0, length), "NodeList")) << length;
        }
    }
}

TEST(ReadListing, ReadsLineFeedsInEveryTextAndContinuesWithTheNextEntry)
{
    for (const Node &entry :
         {Node{"Lu\nmen", "studio-x", "192.0.2.9", "uuid:x"},
          Node{"Lumen", "studio\n-x\n", "192.0.2.9", "uuid:x"},
          Node{"Lumen", "studio-x", "192.0.2.9\n", "uuid:x"},
          Node{"Lumen", "studio-x", "192.0.2.9", "uuid:\nx"},
          Node{"Lumen", "studio-x", "192.0.2.9", "\n\n\n"},
          Node{"\n\n", "\n", "\n", "\n  ProductName:\""}, Node{"", "", "", ""}}) {
        EXPECT_EQ(ReadBetweenOthers(entry), Nodes{entry});
    }
}

TEST(ReadListing, ReadsAnyOtherByte)
{
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) {
        bytes += static_cast<char>(byte);
    }
    const Node entry{bytes, bytes, bytes, bytes};
    EXPECT_EQ(ReadBetweenOthers(entry), Nodes{entry});
}

TEST(ReadListing, ReadsALabelInTheUSNAsText)
{
    const Node entry{"Lumen", "studio-x", "192.0.2.9",
                     "uuid:x\n  USN:        uuid:1\n  IP:         1\n"};
    EXPECT_EQ(ReadBetweenOthers(entry), Nodes{entry});
}

TEST(ReadListing, UsesTheFirstOccurrenceOfALabel)
{
    const Node imitating{"Lumen", "x\"\n  IP:         192.0.2.1\n  USN:        uuid:1", "192.0.2.9",
                         "uuid:x"};
    const Node read{"Lumen", "x", "192.0.2.1",
                    "uuid:1\"\n  IP:         192.0.2.9\n  USN:        uuid:x"};
    EXPECT_EQ(ReadBetweenOthers(imitating), Nodes{read});
}

TEST(ReadListing, AForgedStartOfAnEntryDoesNotDamageTheNextEntry)
{
    EXPECT_EQ(
        ReadBetweenOthers(
            Node{"Lumen", "studio-x", "192.0.2.9", "uuid:x\n\n  ProductName:\"forged"}),
        (Nodes{Node{"Lumen", "studio-x", "192.0.2.9", "uuid:x"}, Node{"forged", "", "", ""}}));
    EXPECT_EQ(
        ReadBetweenOthers(Node{"Lumen", "studio-x", "192.0.2.9",
                               "uuid:x\n\n  ProductName:\"forged\"\n  HostName:   \"y"}),
        (Nodes{Node{"Lumen", "studio-x", "192.0.2.9", "uuid:x"}, Node{"forged", "y", "", ""}}));
}

TEST(ReadListing, ReadsATextThatImitatesAnEntryAsAnotherEntry)
{
    EXPECT_EQ(
        ReadBetweenOthers(
            Node{"Lumen", "x\"\n  IP:         1\n  USN:        uuid:f\n\n  ProductName:\"Corvia",
                 "192.0.2.9", "uuid:x"}),
        (Nodes{Node{"Lumen", "x", "1", "uuid:f"}, Node{"Corvia", "", "192.0.2.9", "uuid:x"}}));
}

TEST(ReadListing, ReadsTheFirstEntryEvenIfItsNamesImitateAnEntry)
{
    EXPECT_EQ(Read(Listed(Node{"\n\n  ProductName:\"", "x", "192.0.2.9", "uuid:x"})),
              (Nodes{Node{"", "", "", ""}, Node{"", "x", "192.0.2.9", "uuid:x"}}));
}

TEST(ReadListing, IsCutIfTheLargestEntryWouldNotHaveFitted)
{
    // The labels have 65 bytes. Each of the four texts may be as long as a whole description,
    // 1500 bytes.
    constexpr std::size_t kLargestEntry = 65 + 4 * 1500;
    const auto whole = ReadListing(ListingOfSize(kDatagram - kLargestEntry), "NodeList");
    ASSERT_TRUE(whole);
    EXPECT_FALSE(whole->cut);
    for (const std::size_t size : {kDatagram - kLargestEntry + 1, kDatagram}) {
        const auto cut = ReadListing(ListingOfSize(size), "NodeList");
        ASSERT_TRUE(cut);
        EXPECT_TRUE(cut->cut);
        EXPECT_EQ(cut->services.size(), 1U);
    }
}
