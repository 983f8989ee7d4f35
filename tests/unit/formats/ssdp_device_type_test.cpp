#include "formats/ssdp_device_type.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

using Predicate = bool (*)(std::string_view);

std::vector<std::string> Holding(Predicate predicate)
{
    std::vector<std::string> holding;
    for (const char *text :
         {"uuid:65746500-Corvia 12-192.0.2.10-0", "65746500-", "65746500", "TalonMx", "TalonVt",
          "Talon", "TalonX", "a ZR1 b", "ZR2", "ZR", "zr1", "zr2", "talonmx", "ZR3", ""}) {
        if (predicate(text)) {
            holding.emplace_back(text);
        }
    }
    return holding;
}

using Texts = std::vector<std::string>;

} // namespace

TEST(MakeUSN, JoinsThePrefixProductAddressAndInstance)
{
    EXPECT_EQ(formats::MakeUSN("Corvia 12", "192.168.1.20", "0"),
              "uuid:65746500-Corvia 12-192.168.1.20-0");
}

TEST(MakeUSN, JoinsThePartsUnchanged)
{
    EXPECT_EQ(formats::MakeUSN(" A-b  C ", "", "x"), "uuid:65746500- A-b  C --x");
    EXPECT_EQ(formats::MakeUSN("", "", ""), "uuid:65746500---");
}

TEST(ProductPredicates, CanBeProxiedIsZR1Anywhere)
{
    EXPECT_EQ(Holding(formats::CanBeProxied), Texts{"a ZR1 b"});
    EXPECT_TRUE(formats::CanBeProxied("uuid:65746500-ZR1-192.0.2.10-0"));
}

TEST(ProductPredicates, NonProxiedDevicesArePeersOfThisSystemAndThreeModels)
{
    EXPECT_EQ(
        Holding(formats::IsNonProxiedDevice),
        (Texts{"uuid:65746500-Corvia 12-192.0.2.10-0", "65746500-", "TalonMx", "TalonVt", "ZR2"}));
}

TEST(ProductPredicates, DevicesOfTheMakerArePeersAndTheTalonAndZRModels)
{
    EXPECT_EQ(Holding(formats::IsVEXDevice),
              (Texts{"uuid:65746500-Corvia 12-192.0.2.10-0", "65746500-", "TalonMx", "TalonVt",
                     "Talon", "TalonX", "a ZR1 b", "ZR2"}));
}
