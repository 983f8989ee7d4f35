#include "beaconctl/host_address.h"

#include <gtest/gtest.h>

using namespace beaconctl;

namespace {

using Addresses = std::vector<std::string>;

Entry Named(const std::string &name, const std::string &address)
{
    return {name, "Lumen", address, "uuid:" + address, "", ""};
}

} // namespace

TEST(AddressesOf, AreThoseOfTheEntriesWithThisName)
{
    const Entries entries{Named("studio-a", "192.0.2.10"), Named("studio-b", "192.0.2.11"),
                          Named("studio-a", "192.0.2.12")};
    EXPECT_EQ(AddressesOf("studio-b", entries), Addresses{"192.0.2.11"});
    EXPECT_EQ(AddressesOf("studio-a", entries), (Addresses{"192.0.2.10", "192.0.2.12"}));
    EXPECT_EQ(AddressesOf("studio", entries), Addresses());
    EXPECT_EQ(AddressesOf("Studio-a", entries), Addresses());
}

TEST(AddressesOf, NamesAnAddressOfSeveralServicesOnce)
{
    EXPECT_EQ(AddressesOf("a", {Named("a", "192.0.2.10"), Named("a", "192.0.2.10")}),
              Addresses{"192.0.2.10"});
}

TEST(AddressesOf, LeavesOutTextsThatAreNoAddresses)
{
    EXPECT_EQ(AddressesOf("a", {Named("a", ""), Named("a", "192.0.2"), Named("a", "host")}),
              Addresses());
}

TEST(AddressesOf, AcceptsANameInTheFormThatTablesShow)
{
    const Entries entries{Named("a\n\\", "192.0.2.10")};
    EXPECT_EQ(AddressesOf("a\n\\", entries), Addresses{"192.0.2.10"});
    EXPECT_EQ(AddressesOf("a\\x0a\\\\", entries), Addresses{"192.0.2.10"});
}

TEST(FindHost, KeepsAnAddressAndAnEmptyHost)
{
    for (const char *host : {"", "192.0.2.10"}) {
        Arguments arguments;
        arguments.host = host;
        std::string error;
        EXPECT_TRUE(FindHost(arguments, error));
        EXPECT_EQ(arguments.host, host);
    }
}

TEST(FindHost, RefusesAnAddressThatIsNotFourNumbers)
{
    for (const char *host : {"192.0.2", "10", "0x7f000001"}) {
        Arguments arguments;
        arguments.host = host;
        arguments.timeout = std::chrono::milliseconds(10);
        std::string error;
        EXPECT_FALSE(FindHost(arguments, error));
        EXPECT_EQ(error, "no listed device and no host is named \"" + std::string(host) + "\"");
    }
}
