#include "ssdp/web_root_files.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>

namespace {

constexpr const char *kPath = "/var/www/html/a.xml";

void WriteFile(const std::string &path, const std::string &text)
{
    std::ofstream(path, std::ios::binary) << text;
}

std::string ReadFile(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class WebRootFilesTest : public testing::Test
{
protected:
    WebRootFilesTest() { WriteFile("/var/www/elsewhere.xml", "of another owner"); }
    ~WebRootFilesTest() override
    {
        std::filesystem::remove_all("/var/www/html");
        std::filesystem::create_directory("/var/www/html");
    }
    WebRootFilesTest(const WebRootFilesTest &) = delete;
    WebRootFilesTest &operator=(const WebRootFilesTest &) = delete;

    ssdp::WebRootFiles mFiles;
};

} // namespace

TEST_F(WebRootFilesTest, DocumentIsReadAsItWasWritten)
{
    EXPECT_TRUE(mFiles.Write(kPath, "longer text"));
    EXPECT_TRUE(mFiles.Write(kPath, "text"));
    EXPECT_EQ(ReadFile(kPath), "text");
    const auto document = mFiles.Read("/a.xml");
    ASSERT_TRUE(document);
    EXPECT_EQ(document->text, "text");
    EXPECT_EQ(document->bytes, 4U);
}

TEST_F(WebRootFilesTest, TextEndsBeforeTheFirstNul)
{
    WriteFile(kPath, std::string("text\0more", 9));
    const auto document = mFiles.Read("/a.xml");
    ASSERT_TRUE(document);
    EXPECT_EQ(document->text, "text");
    EXPECT_EQ(document->bytes, 9U);
}

TEST_F(WebRootFilesTest, DocumentLargerThanADatagramIsNotRead)
{
    WriteFile(kPath, std::string(65507, 'x'));
    EXPECT_TRUE(mFiles.Read("/a.xml"));
    WriteFile(kPath, std::string(65508, 'x'));
    EXPECT_FALSE(mFiles.Read("/a.xml"));
}

TEST_F(WebRootFilesTest, OnlyRegularFilesAreRead)
{
    EXPECT_FALSE(mFiles.Read("/a.xml"));
    EXPECT_FALSE(mFiles.Read("/"));
    std::filesystem::create_directory(kPath);
    EXPECT_FALSE(mFiles.Read("/a.xml"));
}

TEST_F(WebRootFilesTest, SymbolicLinkIsNotRead)
{
    std::filesystem::create_symlink("/var/www/elsewhere.xml", kPath);
    EXPECT_FALSE(mFiles.Read("/a.xml"));
    WriteFile("/var/www/html/b.xml", "beside it");
    std::filesystem::create_symlink("b.xml", "/var/www/html/c.xml");
    EXPECT_FALSE(mFiles.Read("/c.xml"));
}

TEST_F(WebRootFilesTest, SymbolicLinkIsNotWrittenThrough)
{
    std::filesystem::create_symlink("/var/www/elsewhere.xml", kPath);
    EXPECT_FALSE(mFiles.Write(kPath, "text"));
    EXPECT_EQ(ReadFile("/var/www/elsewhere.xml"), "of another owner");
    std::filesystem::create_symlink("/var/www/new.xml", "/var/www/html/b.xml");
    EXPECT_FALSE(mFiles.Write("/var/www/html/b.xml", "text"));
    EXPECT_FALSE(std::filesystem::exists("/var/www/new.xml"));
}

TEST_F(WebRootFilesTest, WriteFailsInAMissingFolder)
{
    EXPECT_FALSE(mFiles.Write("/var/www/missing/a.xml", "text"));
}

TEST_F(WebRootFilesTest, AllObjectsShareTheFileNumbers)
{
    ssdp::WebRootFiles others;
    EXPECT_EQ(mFiles.GetFileNumber(), 1U);
    EXPECT_EQ(others.GetFileNumber(), 2U);
    others.ReturnFileNumber("/var/www/html/lumen_upnp_ssdp_1.xml");
    EXPECT_EQ(mFiles.GetFileNumber(), 1U);
    mFiles.ReturnFileNumber("lumen_upnp_ssdp_1.xml");
    mFiles.ReturnFileNumber("lumen_upnp_ssdp_2.xml");
}
