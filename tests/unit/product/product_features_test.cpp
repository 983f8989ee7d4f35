#include "product/product_id.h"

#include "support/child.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace {

void SetProduct(const char *productID)
{
    setenv("PRODUCT_ID", productID, 1); // NOLINT(concurrency-mt-unsafe): in a child, one thread
}

void ExpectHTTPS(const char *productID, bool expected)
{
    test::InChild([=] {
        SetProduct(productID);
        EXPECT_EQ(CProductFeatures::canDoHTTPS(), expected) << productID;
    });
}

} // namespace

TEST(HTTPS, IsOfferedByTheLumenFamilyOnly)
{
    ExpectHTTPS("lumen", true);
    ExpectHTTPS("lumenplus", true);
    for (const char *other : {"corvia12", "corvia12plus", "talonmx", "talonvt", "zr1", "zr2"}) {
        ExpectHTTPS(other, false);
    }
    ExpectHTTPS("no such product", false);
}

TEST(HTTPS, AnswerIsKeptEvenIfTheBoardIsFoundLater)
{
    test::InChild([] {
        SetProduct("");
        EXPECT_FALSE(CProductFeatures::canDoHTTPS());
        SetProduct("lumen");
        EXPECT_EQ(CProductID::getProductID(), "lumen");
        EXPECT_TRUE(CProductID::isLumen());
        EXPECT_FALSE(CProductFeatures::canDoHTTPS());
    });
}

TEST(HTTPS, BoardIsLookedUpOnceForTheAnswer)
{
    const test::Output output = test::InChild([] {
        SetProduct("lumen");
        EXPECT_TRUE(CProductFeatures::canDoHTTPS());
        EXPECT_TRUE(CProductFeatures::canDoHTTPS());
    });
    EXPECT_EQ(output.err,
              "getProductID productID is not initialized\n"
              "*** getProductID: Found PRODUCT_ID env var, set to lumen.\n"
              "GetBoardIDFromProductID: found board ID 0x10660001 for productID lumen\n");
}
