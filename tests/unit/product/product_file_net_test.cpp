#include "product/product_id.h"
#include "support/child.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const std::string kLooking =
    "getProductID productID is not initialized\n"
    "*** getProductID: PRODUCT_ID environment variable not set, looking in /etc/product_id\n";

const std::string kNothing =
    kLooking + "*** getProductID: Nothing in /etc/product_id either.  I need one or the other.\n"
               "GetBoardIDFromProductID: Failed to find a board ID for productID \"\"\n";

// A private, empty /etc, and an environment without PRODUCT_ID.
class ProductFile : public testing::Test
{
protected:
    void SetUp() override
    {
        unsetenv("PRODUCT_ID"); // NOLINT(concurrency-mt-unsafe): one thread
        ASSERT_EQ(mount("tmpfs", "/etc", "tmpfs", 0, "mode=755"), 0);
    }
    void TearDown() override { ASSERT_EQ(umount("/etc"), 0); }

    static void Write(const std::string &text) { std::ofstream("/etc/product_id") << text; }

    // The output of finding the identity in the file. The result must be this ID and board.
    static std::string Find(const std::string &productID, VEXBoardID_t board)
    {
        const test::Output output = test::InChild([&] {
            EXPECT_EQ(CProductID::getProductID(), productID);
            EXPECT_EQ(CProductID::GetCurrentBoardID(), board);
        });
        EXPECT_EQ(output.out, "");
        return output.err;
    }

    static std::string NoBoard(const std::string &productID)
    {
        return "*** getProductID: file base productID=" + productID +
               "\nGetBoardIDFromProductID: Failed to find a board ID for productID \"" + productID +
               "\"\n";
    }
};

const std::string kLumen =
    kLooking + "*** getProductID: file base productID=lumen\n"
               "GetBoardIDFromProductID: found board ID 0x10660001 for productID lumen\n";

} // namespace

TEST_F(ProductFile, IsReadWithoutTheVariable)
{
    Write("lumen");
    EXPECT_EQ(Find("lumen", kVEXBoardLumen), kLumen);
}

TEST_F(ProductFile, NewlineAtTheEndIsRemoved)
{
    Write("lumen\n");
    EXPECT_EQ(Find("lumen", kVEXBoardLumen), kLumen);
}

TEST_F(ProductFile, WhiteSpaceAtTheEndIsRemoved)
{
    Write("lumen \t\r\n\n \r\t ");
    EXPECT_EQ(Find("lumen", kVEXBoardLumen), kLumen);
}

TEST_F(ProductFile, OtherBytesAndSpacesElsewhereArePartOfTheID)
{
    Write(" lu men\nzr1\v\n");
    EXPECT_EQ(Find(" lu men\nzr1\v", kVEXBoardUnknown), kLooking + NoBoard(" lu men\nzr1\v"));
}

TEST_F(ProductFile, IsNotReadWhenTheVariableIsSet)
{
    Write("lumen");
    const test::Output output = test::InChild([] {
        setenv("PRODUCT_ID", "zr1", 1); // NOLINT(concurrency-mt-unsafe): in a child, one thread
        EXPECT_EQ(CProductID::getProductID(), "zr1");
        EXPECT_EQ(CProductID::GetCurrentBoardID(), kVEXBoardZR1);
    });
    EXPECT_EQ(output.err, "getProductID productID is not initialized\n"
                          "*** getProductID: Found PRODUCT_ID env var, set to zr1.\n"
                          "GetBoardIDFromProductID: found board ID 0x10680001 for productID zr1\n");
}

TEST_F(ProductFile, WithNeitherFileNorVariableTheProductIsUnknown)
{
    const test::Output output = test::InChild([] {
        EXPECT_EQ(CProductID::getProductID(), "");
        EXPECT_EQ(CProductID::GetCurrentBoardID(), kVEXBoardUnknown);
        EXPECT_EQ(CProductID::GetCurrentModelName(), "Unknown Model");
        EXPECT_EQ(CProductID::GetCurrentProductCategoryName(kVEXBoardCurrent), "Unknown Product");
        EXPECT_EQ(CProductID::GetCurrentBoardIDString(), "ffffffff");
        EXPECT_FALSE(CProductID::isLumenFamily());
    });
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, kNothing);
}

TEST_F(ProductFile, UnknownProductIsLookedUpAgain)
{
    const test::Output output = test::InChild([] {
        EXPECT_EQ(CProductID::getProductID(), "");
        Write("lumen");
        EXPECT_EQ(CProductID::GetCurrentBoardID(), kVEXBoardUnknown);
        EXPECT_EQ(CProductID::getProductID(), "lumen");
        EXPECT_EQ(CProductID::GetCurrentBoardID(), kVEXBoardLumen);
    });
    EXPECT_EQ(output.err, kNothing + kLumen);
}

TEST_F(ProductFile, EmptyFileGivesAnUnknownProduct)
{
    Write("");
    EXPECT_EQ(Find("", kVEXBoardUnknown), kLooking + NoBoard(""));
    Write(" \r\n");
    EXPECT_EQ(Find("", kVEXBoardUnknown), kLooking + NoBoard(""));
}

TEST_F(ProductFile, IDEndsAtANul)
{
    Write(std::string("lumen\n\0\n", 8));
    EXPECT_EQ(Find("lumen", kVEXBoardLumen), kLumen);
    Write(std::string("lumen\0zr1", 9));
    EXPECT_EQ(Find("lumen", kVEXBoardLumen), kLumen);
}

TEST_F(ProductFile, IDIsNotUsedAsAFormat)
{
    Write("%s%n%08x%\x1B[2J\n");
    const std::string id = "%s%n%08x%\x1B[2J";
    EXPECT_EQ(Find(id, kVEXBoardUnknown), kLooking + NoBoard(id));
}

TEST_F(ProductFile, NoMoreThanFourKilobytesAreRead)
{
    Write("lumen" + std::string(5000, '\n') + "zr1");
    EXPECT_EQ(Find("lumen", kVEXBoardLumen), kLumen);
    Write(std::string(1 << 20, 'x'));
    const std::string cut(4096, 'x');
    EXPECT_EQ(Find(cut, kVEXBoardUnknown), kLooking + NoBoard(cut));
}

TEST_F(ProductFile, ThatIsAFolderIsReportedAndCountsAsEmpty)
{
    ASSERT_EQ(mkdir("/etc/product_id", 0755), 0);
    EXPECT_EQ(Find("", kVEXBoardUnknown),
              kLooking + "*** getProductID: Could not open \"/etc/product_id\" (errno:" +
                  std::to_string(EISDIR) + ")\n" + NoBoard(""));
}

TEST_F(ProductFile, ThatIsAPipeIsReportedWithoutWaiting)
{
    ASSERT_EQ(mkfifo("/etc/product_id", 0644), 0);
    EXPECT_EQ(Find("", kVEXBoardUnknown),
              kLooking + "*** getProductID: Could not open \"/etc/product_id\" (errno:" +
                  std::to_string(ENXIO) + ")\n" + NoBoard(""));
}

TEST_F(ProductFile, ThatIsADanglingLinkCountsAsMissing)
{
    ASSERT_EQ(symlink("/etc/missing", "/etc/product_id"), 0);
    EXPECT_EQ(Find("", kVEXBoardUnknown), kNothing);
}
