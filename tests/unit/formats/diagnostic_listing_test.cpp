#include "formats/diagnostic_listing.h"

#include "support/records.h"

#include <gtest/gtest.h>
#include <string>

namespace {

formats::SSDPDeviceMap Two()
{
    formats::SSDPDeviceMap list;
    for (const SSDPDeviceType &device : {Device("Lumen", "192.0.2.20", "studio-b"),
                                         Device("Corvia 12", "192.0.2.10", "studio-a")}) {
        list.emplace(device.usn, device);
    }
    return list;
}

const std::string kFirst = "\n  ProductName:\"Corvia 12\""
                           "\n  HostName:   \"studio-a\""
                           "\n  IP:         192.0.2.10"
                           "\n  USN:        uuid:65746500-Corvia 12-192.0.2.10-0\n";
const std::string kSecond = "\n  ProductName:\"Lumen\""
                            "\n  HostName:   \"studio-b\""
                            "\n  IP:         192.0.2.20"
                            "\n  USN:        uuid:65746500-Lumen-192.0.2.20-0\n";

std::string Assembled(const formats::SSDPDeviceMap &list, std::size_t maxSize,
                      std::string out = "NodeList")
{
    formats::AssembleList(list, out, maxSize);
    return out;
}

} // namespace

TEST(AnswerCommand, ReturnsTheListingOrNamesTheUnknownCommand)
{
    formats::SSDPDeviceMap one = Two();
    one.erase(one.begin());
    std::string reply = "former";
    EXPECT_TRUE(formats::AnswerCommand("gh", one, Two(), reply));
    EXPECT_EQ(reply, "HostList" + kSecond);
    EXPECT_TRUE(formats::AnswerCommand("gn", one, Two(), reply));
    EXPECT_EQ(reply, "NodeList" + kFirst + kSecond);
    EXPECT_FALSE(formats::AnswerCommand("GN", one, Two(), reply));
    EXPECT_EQ(reply, "No such command as \"GN\"");
    EXPECT_FALSE(formats::AnswerCommand(std::string_view("\0\"", 2), one, Two(), reply));
    EXPECT_EQ(reply, std::string("No such command as \"\0\"\"", 23));
}

TEST(AssembleList, AppendsEachEntryInKeyOrder)
{
    EXPECT_EQ(Assembled(Two(), 65507), "NodeList" + kFirst + kSecond);
}

TEST(AssembleList, AppendsNothingForAnEmptyList)
{
    EXPECT_EQ(Assembled({}, 65507), "NodeList");
    EXPECT_EQ(Assembled({}, 0), "NodeList");
}

TEST(AssembleList, WritesEmptyFieldsAsLabelsOnly)
{
    EXPECT_EQ(Assembled({{"key", {}}}, 65507, ""),
              "\n  ProductName:\"\"\n  HostName:   \"\"\n  IP:         \n  USN:        \n");
}

TEST(AssembleList, StopsBeforeTheFirstEntryThatDoesNotFit)
{
    const std::size_t one = 8 + kFirst.size();
    const std::size_t both = one + kSecond.size();
    EXPECT_EQ(Assembled(Two(), both), "NodeList" + kFirst + kSecond);
    EXPECT_EQ(Assembled(Two(), both - 1), "NodeList" + kFirst);
    EXPECT_EQ(Assembled(Two(), one), "NodeList" + kFirst);
    EXPECT_EQ(Assembled(Two(), one - 1), "NodeList");
    EXPECT_EQ(Assembled(Two(), 0), "NodeList");
}

TEST(AssembleList, DoesNotSkipALargeEntryForALaterSmallerOne)
{
    formats::SSDPDeviceMap list = Two();
    list.begin()->second.hostName = std::string(60000, 'h');
    EXPECT_EQ(Assembled(list, 50000), "NodeList");
}

TEST(AssembleList, OfAThousandDevicesFillsADatagramWithWholeEntries)
{
    formats::SSDPDeviceMap list;
    for (int i = 0; i < 1000; ++i) {
        SSDPDeviceType device = Device("Lumen", "192.0.2.20", "studio-b");
        list.emplace(std::to_string(1000 + i), device);
    }
    const std::string text = Assembled(list, 65507);
    EXPECT_EQ(text.size(), 8 + kSecond.size() * ((65507 - 8) / kSecond.size()));
    EXPECT_EQ(text.substr(text.size() - kSecond.size()), kSecond);
}

TEST(DisplayText, StartsWithTheOperationAndTheNumberOfEntries)
{
    EXPECT_EQ(formats::DisplayText(Two(), "DisplayNodeElements"),
              "DisplayNodeElements:  We have 2 SSDP Devices\n"
              "\n  ProductName:Corvia 12"
              "\n  IP:         192.0.2.10"
              "\n  USN:        uuid:65746500-Corvia 12-192.0.2.10-0\n"
              "\n  ProductName:Lumen"
              "\n  IP:         192.0.2.20"
              "\n  USN:        uuid:65746500-Lumen-192.0.2.20-0");
    EXPECT_EQ(formats::DisplayText({}, "DisplayHostElements"),
              "DisplayHostElements:  We have 0 SSDP Devices");
}

TEST(ReadListing, ReadsBackBothListings)
{
    for (const formats::ListingKind &kind : {formats::kHostListing, formats::kNodeListing}) {
        std::string reply;
        ASSERT_TRUE(formats::AnswerCommand(kind.command, Two(), Two(), reply));
        const auto listing = formats::ReadListing(reply, kind.heading);
        ASSERT_TRUE(listing);
        EXPECT_EQ(Assembled({{"1", listing->services.at(0)}, {"2", listing->services.at(1)}}, 65507,
                            std::string(kind.heading)),
                  reply);
        EXPECT_EQ(listing->services.size(), 2U);
    }
}
