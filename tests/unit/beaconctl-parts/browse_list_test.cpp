#include "beaconctl/browse_list.h"

#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

constexpr const char *kOne =
    R"([{"serviceDescription":"Corvia 12","serviceType":"_http._tcp","serviceDomain":"local",)"
    R"("hostName":"studio-a","ipAddress":"192.0.2.10","port":80,"deviceName":"Corvia 12",)"
    R"("description":"HD recorder","boardType":"Corvia 12","boardNumber":"0",)"
    R"("boardID":"0x10650001"}])";

std::string ErrorOf(const std::string &text)
{
    Entries entries{Entry()};
    std::string error;
    EXPECT_FALSE(ReadBrowseText(text, entries, error));
    EXPECT_EQ(entries.size(), 1U); // untouched
    return error;
}

} // namespace

TEST(ReadBrowseText, ReadsTheDaemonsList)
{
    Entries entries;
    std::string error;
    ASSERT_TRUE(ReadBrowseText(kOne, entries, error));
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0],
              (Entry{"studio-a", "Corvia 12", "192.0.2.10", "", "HD recorder", "0x10650001"}));
}

TEST(ReadBrowseText, ReadsNamesThatAreNoUtf8WithTheBytesReplaced)
{
    Entries entries;
    std::string error;
    ASSERT_TRUE(ReadBrowseText("[{\"hostName\":\"a\xff\"}]", entries, error));
    EXPECT_EQ(entries[0].hostName, "a\xef\xbf\xbd");
}

TEST(ReadBrowseText, SaysWhatIsWrongInOneLine)
{
    EXPECT_EQ(ErrorOf(""), "illegal value at byte 0");
    EXPECT_EQ(ErrorOf("{}"), "not a browse list: no JSON array");
    EXPECT_EQ(ErrorOf("[1]"), "not a browse list: an element is no object");
    EXPECT_EQ(ErrorOf(std::string(kOne).substr(0, 40)).find('\n'), std::string::npos);
}

TEST(ReadBrowseFile, NamesTheFileThatCannotBeRead)
{
    Entries entries;
    std::string error;
    EXPECT_FALSE(ReadBrowseFile("/nonexistent/browse.json", entries, error));
    EXPECT_EQ(error, "/nonexistent/browse.json: No such file or directory");
}

TEST(ReadBrowseFile, EscapesTheNameInItsError)
{
    Entries entries;
    std::string error;
    EXPECT_FALSE(ReadBrowseFile("/nonexistent/\x1b[2J\nx\xff", entries, error));
    EXPECT_EQ(error, "/nonexistent/\\x1b[2J\\x0ax\\xff: No such file or directory");
}

TEST(ReadBrowseFile, ReportsAFileThatCanBeOpenedButNotRead)
{
    Entries entries;
    std::string error;
    EXPECT_FALSE(ReadBrowseFile("/proc/self", entries, error));
    EXPECT_EQ(error, "/proc/self: Is a directory");
}

TEST(ReadBrowseFile, RefusesAnEnormousFile)
{
    const std::string path = testing::TempDir() + "enormous.json";
    std::ofstream(path) << '[';
    ASSERT_EQ(truncate(path.c_str(), 16 * 1024 * 1024 + 1), 0);
    Entries entries;
    std::string error;
    EXPECT_FALSE(ReadBrowseFile(path, entries, error));
    EXPECT_EQ(error, path + ": larger than any browse list");
    std::remove(path.c_str());
}
