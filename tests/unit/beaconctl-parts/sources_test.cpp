#include "beaconctl/sources.h"

#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace beaconctl;

namespace {

constexpr const char *kOne =
    R"([{"serviceDescription":"Corvia","serviceType":"_http._tcp","serviceDomain":"local",)"
    R"("hostName":"studio-a","ipAddress":"192.0.2.10","port":80,"deviceName":"Corvia 12",)"
    R"("description":"HD recorder","boardType":"Corvia 12","boardNumber":"0",)"
    R"("boardID":"0x10650001"}])";

} // namespace

TEST(ReadBrowseFile, ReadsTheListOfTheDaemon)
{
    const std::string path = testing::TempDir() + "browse.json";
    std::ofstream(path) << kOne;
    Entries entries;
    std::string error;
    ASSERT_TRUE(ReadBrowseFile(path, entries, error)) << error;
    EXPECT_EQ(entries,
              (Entries{{"studio-a", "Corvia 12", "192.0.2.10", "", "HD recorder", "0x10650001"}}));
    std::remove(path.c_str());
}

TEST(ReadBrowseFile, NamesTheFileThatIsNotABrowseList)
{
    Entries entries{Entry()};
    std::string error;
    EXPECT_FALSE(ReadBrowseFile("/dev/null", entries, error));
    EXPECT_EQ(error, "/dev/null: invalid JSON at byte 1");
    EXPECT_EQ(entries, Entries{Entry()}); // unchanged
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

TEST(CopyBrowseFile, HasTheMembersOfTheFile)
{
    const std::string path = testing::TempDir() + "copied.json";
    std::ofstream(path) << kOne;
    std::string json;
    std::string error;
    ASSERT_TRUE(CopyBrowseFile(path, json, error)) << error;
    EXPECT_EQ(json, R"([{"boardID":"0x10650001","boardNumber":"0","boardType":"Corvia 12",)"
                    R"("description":"HD recorder","deviceName":"Corvia 12",)"
                    R"("hostName":"studio-a","ipAddress":"192.0.2.10","port":80,)"
                    R"("serviceDescription":"Corvia","serviceDomain":"local",)"
                    R"("serviceType":"_http._tcp"}])");
    std::remove(path.c_str());
}

TEST(CopyBrowseFile, NamesTheFileThatIsNotABrowseList)
{
    std::string json;
    std::string error;
    EXPECT_FALSE(CopyBrowseFile("/dev/null", json, error));
    EXPECT_EQ(error, "/dev/null: invalid JSON at byte 1");
}
