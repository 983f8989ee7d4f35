#include "product/product_id.h"

#include "support/child.h"

#include <array>
#include <cstdlib>
#include <gtest/gtest.h>
#include <set>
#include <thread>

namespace {

constexpr auto kNoBoard = static_cast<VEXBoardID_t>(0x10650003);

struct Product
{
    std::uint32_t board;
    const char *model;
    const char *productID;
    const char *category;
};

const std::array<Product, 8> kProducts{{
    {0x10650001, "Corvia 12", "corvia12", "HD recorder"},
    {0x10650002, "Corvia 12 Plus", "corvia12plus", "HD recorder"},
    {0x10660001, "Lumen", "lumen", "4K encoder"},
    {0x10660002, "Lumen Plus", "lumenplus", "4K encoder"},
    {0x10670001, "TalonMx", "talonmx", "Multichannel streamer"},
    {0x10670002, "TalonVt", "talonvt", "Multichannel streamer"},
    {0x10680001, "ZR1", "zr1", "Field recorder"},
    {0x10680002, "ZR2", "zr2", "Field recorder"},
}};

VEXBoardID_t Board(const Product &product)
{
    return static_cast<VEXBoardID_t>(product.board);
}

void SetProduct(const char *productID)
{
    setenv("PRODUCT_ID", productID, 1); // NOLINT(concurrency-mt-unsafe): in a child, one thread
}

// The output of finding the identity when PRODUCT_ID selects a board.
std::string Found(const std::string &productID, const std::string &board)
{
    return "getProductID productID is not initialized\n"
           "*** getProductID: Found PRODUCT_ID env var, set to " +
           productID +
           ".\n"
           "GetBoardIDFromProductID: found board ID 0x" +
           board + " for productID " + productID + "\n";
}

std::string NotFound(const std::string &productID)
{
    return "getProductID productID is not initialized\n"
           "*** getProductID: Found PRODUCT_ID env var, set to " +
           productID +
           ".\n"
           "GetBoardIDFromProductID: Failed to find a board ID for productID \"" +
           productID + "\"\n";
}

using Predicate = bool (*)(VEXBoardID_t);

// The boards for which a predicate is true, of those in the table and some others.
std::set<std::uint32_t> Holding(Predicate predicate)
{
    std::set<std::uint32_t> boards;
    for (const Product &product : kProducts) {
        if (predicate(Board(product))) {
            boards.insert(product.board);
        }
    }
    for (const VEXBoardID_t board : {kNoBoard, kVEXBoardUnknown, kVEXBoardUndetermined}) {
        if (predicate(board)) {
            boards.insert(board);
        }
    }
    return boards;
}

} // namespace

TEST(ProductTable, IsTheMakersList)
{
    ASSERT_EQ(product::kProductTable.size(), kProducts.size());
    for (std::size_t i = 0; i < kProducts.size(); ++i) {
        EXPECT_EQ(product::kProductTable[i].board, Board(kProducts[i]));
        EXPECT_STREQ(product::kProductTable[i].modelName, kProducts[i].model);
        EXPECT_STREQ(product::kProductTable[i].productID, kProducts[i].productID);
        EXPECT_STREQ(product::kProductTable[i].category, kProducts[i].category);
    }
}

TEST(ProductTable, HasModelNamesOfDifferentFuzzyForms)
{
    std::set<std::string> names;
    for (const product::ProductRow &row : product::kProductTable) {
        EXPECT_TRUE(names.insert(CProductID::GetFuzzyName(row.modelName)).second) << row.modelName;
    }
}

TEST(BoardID, HasThreeReservedValues)
{
    EXPECT_EQ(std::uint32_t{kVEXBoardCurrent}, 124835783U);
    EXPECT_EQ(std::uint32_t{kVEXBoardCurrent}, 0x0770D7C7U);
    EXPECT_EQ(std::uint32_t{kVEXBoardUndetermined}, 0xDEADBEEFU);
    EXPECT_EQ(std::uint32_t{kVEXBoardUnknown}, static_cast<std::uint32_t>(-1));
}

TEST(BoardID, EachProductHasItsModelNameAndCategory)
{
    for (const Product &product : kProducts) {
        EXPECT_EQ(CProductID::GetModelNameFromBoardID(Board(product)), product.model);
        EXPECT_EQ(CProductID::GetCurrentProductCategoryName(Board(product)), product.category);
    }
}

TEST(BoardID, OtherBoardsAreUnknown)
{
    for (const VEXBoardID_t board : {kNoBoard, kVEXBoardUnknown, kVEXBoardUndetermined}) {
        EXPECT_EQ(CProductID::GetModelNameFromBoardID(board), "Unknown Model");
        EXPECT_EQ(CProductID::GetCurrentProductCategoryName(board), "Unknown Product");
    }
}

TEST(BoardID, ModelNameOfTheValueForTheCurrentBoardIsUnknown)
{
    EXPECT_EQ(CProductID::GetModelNameFromBoardID(kVEXBoardCurrent), "Unknown Model");
}

TEST(ProductIDText, EachSelectsItsBoardAndWritesALine)
{
    const test::Output output = test::Capture([] {
        for (const Product &product : kProducts) {
            EXPECT_EQ(CProductID::GetBoardIDFromProductID(product.productID), Board(product));
        }
    });
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err,
              "GetBoardIDFromProductID: found board ID 0x10650001 for productID corvia12\n"
              "GetBoardIDFromProductID: found board ID 0x10650002 for productID corvia12plus\n"
              "GetBoardIDFromProductID: found board ID 0x10660001 for productID lumen\n"
              "GetBoardIDFromProductID: found board ID 0x10660002 for productID lumenplus\n"
              "GetBoardIDFromProductID: found board ID 0x10670001 for productID talonmx\n"
              "GetBoardIDFromProductID: found board ID 0x10670002 for productID talonvt\n"
              "GetBoardIDFromProductID: found board ID 0x10680001 for productID zr1\n"
              "GetBoardIDFromProductID: found board ID 0x10680002 for productID zr2\n");
}

TEST(ProductIDText, OthersSelectNoBoardAndAreWrittenUnchanged)
{
    const test::Output output = test::Capture([] {
        for (const char *text : {"", "Lumen", "lumen ", "corvia", "%s%n%08x"}) {
            EXPECT_EQ(CProductID::GetBoardIDFromProductID(text), kVEXBoardUnknown) << text;
        }
    });
    const std::string failed = "GetBoardIDFromProductID: Failed to find a board ID for productID ";
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, failed + "\"\"\n" + failed + "\"Lumen\"\n" + failed + "\"lumen \"\n" +
                              failed + "\"corvia\"\n" + failed + "\"%s%n%08x\"\n");
}

TEST(CurrentProduct, ComesFromTheEnvironment)
{
    for (const Product &product : kProducts) {
        const test::Output output = test::InChild([&product] {
            SetProduct(product.productID);
            EXPECT_EQ(CProductID::getProductID(), product.productID);
            EXPECT_EQ(CProductID::GetCurrentBoardID(), Board(product));
            EXPECT_EQ(CProductID::GetCurrentModelName(), product.model);
            EXPECT_EQ(CProductID::GetCurrentProductCategoryName(kVEXBoardCurrent),
                      product.category);
        });
        std::array<char, 9> digits{};
        std::snprintf(digits.data(), digits.size(), "%08x", product.board);
        EXPECT_EQ(output.out, "");
        EXPECT_EQ(output.err, Found(product.productID, digits.data()));
    }
}

TEST(CurrentProduct, BoardIsLookedUpOnce)
{
    const test::Output output = test::InChild([] {
        SetProduct("zr2");
        EXPECT_EQ(CProductID::GetCurrentBoardID(), kVEXBoardZR2);
        EXPECT_EQ(CProductID::GetCurrentBoardID(), kVEXBoardZR2);
    });
    EXPECT_EQ(output.err, Found("zr2", "10680002"));
}

TEST(CurrentProduct, KnownProductIDIsWrittenAndKept)
{
    const test::Output output = test::InChild([] {
        SetProduct("talonvt");
        EXPECT_EQ(CProductID::getProductID(), "talonvt");
        SetProduct("lumen");
        EXPECT_EQ(CProductID::getProductID(), "talonvt");
        EXPECT_EQ(CProductID::GetCurrentBoardID(), kVEXBoardTalonVt);
    });
    EXPECT_EQ(output.err, Found("talonvt", "10670002") + "getProductID productID is talonvt\n");
}

TEST(CurrentProduct, ProductIDOfNoBoardIsKeptAndGivesUnknownNames)
{
    const test::Output output = test::InChild([] {
        SetProduct("%s%n toaster\n");
        EXPECT_EQ(CProductID::getProductID(), "%s%n toaster\n");
        EXPECT_EQ(CProductID::GetCurrentBoardID(), kVEXBoardUnknown);
        EXPECT_EQ(CProductID::GetCurrentModelName(), "Unknown Model");
        EXPECT_EQ(CProductID::GetCurrentProductCategoryName(kVEXBoardCurrent), "Unknown Product");
        EXPECT_EQ(CProductID::GetCurrentBoardIDString(), "ffffffff");
        EXPECT_EQ(CProductID::getProductID(), "%s%n toaster\n");
    });
    EXPECT_EQ(output.err,
              NotFound("%s%n toaster\n") + "getProductID productID is %s%n toaster\n\n");
}

TEST(CurrentProduct, EmptyVariableGivesAnUnknownProduct)
{
    const test::Output output = test::InChild([] {
        SetProduct("");
        EXPECT_EQ(CProductID::getProductID(), "");
        EXPECT_EQ(CProductID::GetCurrentBoardID(), kVEXBoardUnknown);
        SetProduct("zr1");
        EXPECT_EQ(CProductID::getProductID(), "zr1");
        EXPECT_EQ(CProductID::GetCurrentBoardID(), kVEXBoardZR1);
    });
    EXPECT_EQ(output.err, NotFound("") + Found("zr1", "10680001"));
}

TEST(CurrentProduct, BoardTextIsEightHexDigitsAndKept)
{
    const test::Output output = test::InChild([] {
        SetProduct("");
        EXPECT_EQ(CProductID::GetCurrentBoardIDString(), "ffffffff");
        SetProduct("corvia12");
        EXPECT_EQ(CProductID::getProductID(), "corvia12");
        EXPECT_EQ(CProductID::GetCurrentBoardID(), kVEXBoardCorvia12);
        EXPECT_EQ(CProductID::GetCurrentBoardIDString(), "ffffffff");
    });
    EXPECT_EQ(output.err, NotFound("") + Found("corvia12", "10650001"));
    test::InChild([] {
        SetProduct("corvia12");
        EXPECT_EQ(CProductID::GetCurrentBoardIDString(), "10650001");
    });
}

TEST(CurrentProduct, IsLookedUpOnceByManyThreads)
{
    const test::Output output = test::InChild([] {
        SetProduct("lumenplus");
        std::array<std::thread, 8> threads;
        for (std::thread &thread : threads) {
            thread = std::thread([] {
                EXPECT_TRUE(CProductID::isLumenFamily());
                EXPECT_EQ(CProductID::GetCurrentBoardID(), kVEXBoardLumenPlus);
                EXPECT_EQ(CProductID::GetCurrentBoardIDString(), "10660002");
                EXPECT_EQ(CProductID::GetBoardIDFromModelName("talon-mx"), kVEXBoardTalonMx);
            });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
    });
    EXPECT_EQ(output.err, Found("lumenplus", "10660002"));
}

TEST(FuzzyName, HasNoSpacesHyphensOrCapitals)
{
    EXPECT_EQ(CProductID::GetFuzzyName("Corvia 12-Plus"), "corvia12plus");
    EXPECT_EQ(CProductID::GetFuzzyName(" - AZaz-09 "), "azaz09");
    EXPECT_EQ(CProductID::GetFuzzyName(" -- "), "");
    EXPECT_EQ(CProductID::GetFuzzyName(""), "");
}

TEST(FuzzyName, KeepsEveryOtherByte)
{
    EXPECT_EQ(CProductID::GetFuzzyName("a_b\tc\n@[`{\xC3\x84\xFF"), "a_b\tc\n@[`{\xC3\x84\xFF");
    EXPECT_EQ(CProductID::GetFuzzyName(std::string_view("A\0B", 3)), std::string("a\0b", 3));
}

TEST(ModelName, GivesItsBoard)
{
    for (const Product &product : kProducts) {
        EXPECT_EQ(CProductID::GetBoardIDFromModelName(product.model), Board(product));
    }
}

TEST(ModelName, MatchesIgnoringCaseSpacesAndHyphens)
{
    for (const char *name :
         {"corvia12plus", "CORVIA 12 PLUS", "Corvia-12-Plus", " c o-RVIA12Plus "}) {
        EXPECT_EQ(CProductID::GetBoardIDFromModelName(name), kVEXBoardCorvia12Plus) << name;
    }
}

TEST(ModelName, OfNoProductGivesAllBitsSet)
{
    const std::string huge(65536, 'Z');
    for (const std::string &name :
         {std::string(), std::string("-"), std::string("Corvia"), std::string("Corvia 12 Plus 2"),
          std::string("Unknown Model"), std::string("ZR1\0", 4), huge}) {
        EXPECT_EQ(CProductID::GetBoardIDFromModelName(name), 0xFFFFFFFFU) << name.substr(0, 32);
    }
}

TEST(Predicate, OfAModelIsTrueForItsBoardOnly)
{
    using Boards = std::set<std::uint32_t>;
    EXPECT_EQ(Holding(CProductID::isCorvia12), Boards{0x10650001});
    EXPECT_EQ(Holding(CProductID::isCorvia12Plus), Boards{0x10650002});
    EXPECT_EQ(Holding(CProductID::isLumen), Boards{0x10660001});
    EXPECT_EQ(Holding(CProductID::isLumenPlus), Boards{0x10660002});
    EXPECT_EQ(Holding(CProductID::isTalonMx), Boards{0x10670001});
    EXPECT_EQ(Holding(CProductID::isTalonVt), Boards{0x10670002});
    EXPECT_EQ(Holding(CProductID::isZR1), Boards{0x10680001});
    EXPECT_EQ(Holding(CProductID::isZR2), Boards{0x10680002});
}

TEST(Predicate, OfAFamilyIsTrueForItsModels)
{
    using Boards = std::set<std::uint32_t>;
    EXPECT_EQ(Holding(CProductID::isCorviaFamily), (Boards{0x10650001, 0x10650002}));
    EXPECT_EQ(Holding(CProductID::isLumenFamily), (Boards{0x10660001, 0x10660002}));
    EXPECT_EQ(Holding(CProductID::isTalonFamily), (Boards{0x10670001, 0x10670002}));
    EXPECT_EQ(Holding(CProductID::isZRFamily), (Boards{0x10680001, 0x10680002}));
}

TEST(Predicate, WithoutABoardAnswersForTheCurrentOne)
{
    for (const Product &product : kProducts) {
        test::InChild([&product] {
            SetProduct(product.productID);
            const std::uint32_t board = product.board;
            EXPECT_EQ(CProductID::isCorvia12(), board == 0x10650001);
            EXPECT_EQ(CProductID::isCorvia12Plus(), board == 0x10650002);
            EXPECT_EQ(CProductID::isLumen(), board == 0x10660001);
            EXPECT_EQ(CProductID::isLumenPlus(), board == 0x10660002);
            EXPECT_EQ(CProductID::isTalonMx(), board == 0x10670001);
            EXPECT_EQ(CProductID::isTalonVt(), board == 0x10670002);
            EXPECT_EQ(CProductID::isZR1(), board == 0x10680001);
            EXPECT_EQ(CProductID::isZR2(), board == 0x10680002);
            EXPECT_EQ(CProductID::isCorviaFamily(), board >> 16 == 0x1065);
            EXPECT_EQ(CProductID::isLumenFamily(), board >> 16 == 0x1066);
            EXPECT_EQ(CProductID::isTalonFamily(), board >> 16 == 0x1067);
            EXPECT_EQ(CProductID::isZRFamily(kVEXBoardCurrent), board >> 16 == 0x1068);
        });
    }
}

TEST(Predicate, OfAFamilyKeepsTheAnswerForTheCurrentBoardOnly)
{
    test::InChild([] {
        SetProduct("");
        EXPECT_FALSE(CProductID::isLumenFamily());
        SetProduct("lumen");
        EXPECT_EQ(CProductID::getProductID(), "lumen");
        EXPECT_FALSE(CProductID::isLumenFamily());
        EXPECT_TRUE(CProductID::isLumenFamily(CProductID::GetCurrentBoardID()));
        EXPECT_FALSE(CProductID::isLumenFamily(kVEXBoardCorvia12));
        EXPECT_TRUE(CProductID::isLumen());
    });
}
