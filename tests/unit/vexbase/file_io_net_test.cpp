// These tests are among the network tests, because they need a private mount namespace.
#include "vexbase/vex_file_io.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/mount.h>
#include <unistd.h>

namespace {

class VEXFileIOFullTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(mount("tmpfs", "/var/www/discovery", "tmpfs", 0, "size=64k"), 0);
    }
    void TearDown() override { umount("/var/www/discovery"); }

    static void Fill()
    {
        std::ofstream filler("/var/www/discovery/filler");
        while (filler << std::string(4096, 'x') << std::flush) {
        }
    }
};

} // namespace

TEST_F(VEXFileIOFullTest, AWriteToAFullMediumReturns0)
{
    Fill();
    VEXFileIO file;
    ASSERT_EQ(file.Open("/var/www/discovery/__browse.json", 16, 1), 0);
    errno = 0;
    EXPECT_EQ(file.Write("[]", 2), 0U);
    EXPECT_EQ(errno, ENOSPC);
}

TEST_F(VEXFileIOFullTest, AWriteThatFillsTheMediumReturnsTheBytesWritten)
{
    const std::string text(131072, 'x'); // twice the medium's size
    VEXFileIO file;
    ASSERT_EQ(file.Open("/var/www/discovery/__browse.json", 16, 1), 0);
    errno = 0;
    const std::uint32_t written = file.Write(text.data(), std::uint32_t(text.size()));
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_GT(written, 0U);
    EXPECT_LE(written, 65536U);
    EXPECT_EQ(std::filesystem::file_size("/var/www/discovery/__browse.json"), written);
}

TEST_F(VEXFileIOFullTest, AReadOnlyMediumIsRefusedWithTheSystemsErrno)
{
    ASSERT_EQ(mount("none", "/var/www/discovery", nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    VEXFileIO file;
    errno = 0;
    EXPECT_LT(file.Open("/var/www/discovery/__browse.json", 16, 1), 0);
    EXPECT_EQ(errno, EROFS);
}
