#include "vexbase/vex_file_io.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

// The tests write the flags and properties of Open as numbers, because their values are part of
// the interface: 8 reads, 16 writes, 4 truncates, and 1 is buffered.

namespace {

namespace fs = std::filesystem;

std::uint32_t WriteText(VEXFileIO &file, const std::string &text)
{
    return file.Write(text.data(), static_cast<std::uint32_t>(text.size()));
}

std::string ReadText(VEXFileIO &file, std::uint32_t length)
{
    std::string text(length, '\0');
    text.resize(file.Read(text.data(), length));
    return text;
}

// This process's descriptors that are open on a file.
std::vector<int> DescriptorsOf(const std::string &path)
{
    std::vector<int> found;
    for (const auto &entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        if (fs::read_symlink(entry.path(), gone) == path) {
            found.push_back(std::stoi(entry.path().filename()));
        }
    }
    return found;
}

class VEXFileIOTest : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string folder = testing::TempDir() + "file_io_XXXXXX";
        ASSERT_NE(mkdtemp(folder.data()), nullptr);
        mFolder = fs::canonical(folder);
    }
    void TearDown() override { fs::remove_all(mFolder); }

    [[nodiscard]] std::string Path(const std::string &name) const { return mFolder / name; }

    [[nodiscard]] std::string Make(const std::string &name, const std::string &text) const
    {
        std::ofstream(Path(name)) << text;
        return Path(name);
    }

    [[nodiscard]] std::string Text(const std::string &name) const
    {
        std::ostringstream text;
        text << std::ifstream(Path(name)).rdbuf();
        return text.str();
    }

    // Opens a file, which must fail, and returns errno.
    [[nodiscard]] static int OpenError(const std::string &name, int flags, int properties = 1)
    {
        VEXFileIO file;
        errno = 0;
        EXPECT_LT(file.Open(name, flags, properties), 0);
        return errno;
    }

    fs::path mFolder;
};

} // namespace

TEST_F(VEXFileIOTest, WritingCreatesAMissingFile)
{
    for (const int flags : {16, 0x14}) {
        const std::string name = "new" + std::to_string(flags);
        VEXFileIO file;
        ASSERT_EQ(file.Open(Path(name), flags, 1), 0);
        EXPECT_EQ(WriteText(file, "[]"), 2U);
        file.Close();
        EXPECT_EQ(Text(name), "[]");
    }
}

TEST_F(VEXFileIOTest, WritingReplacesTheContentsOfAnExistingFile)
{
    for (const int flags : {16, 0x14}) {
        const std::string path = Make("old", "something longer");
        VEXFileIO file;
        ASSERT_EQ(file.Open(path, flags, 1), 0);
        EXPECT_EQ(Text("old"), "");
        EXPECT_EQ(WriteText(file, "new"), 3U);
        file.Close();
        EXPECT_EQ(Text("old"), "new");
    }
}

TEST_F(VEXFileIOTest, WritesFollowEachOther)
{
    VEXFileIO file;
    ASSERT_EQ(file.Open(Path("two"), 16, 1), 0);
    EXPECT_EQ(WriteText(file, "one "), 4U);
    EXPECT_EQ(WriteText(file, std::string("t\0o", 3)), 3U);
    EXPECT_EQ(Text("two"), std::string("one t\0o", 7));
}

TEST_F(VEXFileIOTest, NewFilesHaveMode0666NarrowedByTheCreationMask)
{
    const mode_t former = umask(027);
    VEXFileIO file;
    EXPECT_EQ(file.Open(Path("masked"), 16, 1), 0);
    umask(0);
    VEXFileIO open;
    EXPECT_EQ(open.Open(Path("open"), 16, 1), 0);
    umask(former);
    EXPECT_EQ(fs::status(Path("masked")).permissions(), fs::perms(0640));
    EXPECT_EQ(fs::status(Path("open")).permissions(), fs::perms(0666));
}

TEST_F(VEXFileIOTest, ReadsAnExistingFilePieceByPiece)
{
    VEXFileIO file;
    ASSERT_EQ(file.Open(Make("read", "first second"), 8, 1), 0);
    EXPECT_EQ(ReadText(file, 6), "first ");
    EXPECT_EQ(ReadText(file, 100), "second");
    EXPECT_EQ(ReadText(file, 100), "");
}

TEST_F(VEXFileIOTest, AFileOpenedForReadingCannotBeWritten)
{
    VEXFileIO file;
    ASSERT_EQ(file.Open(Make("kept", "kept"), 8, 1), 0);
    errno = 0;
    EXPECT_EQ(WriteText(file, "new"), 0U);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(Text("kept"), "kept");
}

TEST_F(VEXFileIOTest, ReadingAndWritingTogetherStartsWithAnEmptyFile)
{
    for (const int flags : {8 | 16, 8 | 16 | 4}) {
        VEXFileIO file;
        ASSERT_EQ(file.Open(Make("both", "old text"), flags, 1), 0);
        EXPECT_EQ(file.SizeBySeeking(), 0U);
        EXPECT_EQ(WriteText(file, "new"), 3U);
        EXPECT_EQ(file.SizeBySeeking(), 3U);
        EXPECT_EQ(ReadText(file, 100), "new");
    }
}

TEST_F(VEXFileIOTest, SizeBySeekingReturnsToTheStart)
{
    VEXFileIO file;
    ASSERT_EQ(file.Open(Make("sized", "twelve bytes"), 8, 1), 0);
    EXPECT_EQ(ReadText(file, 3), "twe");
    EXPECT_EQ(file.SizeBySeeking(), 12U);
    EXPECT_EQ(ReadText(file, 100), "twelve bytes");
}

TEST_F(VEXFileIOTest, SizeOfALargeFileIsRight)
{
    const std::uint64_t size = (std::uint64_t(1) << 32U) + 5;
    const std::string path = Make("large", "");
    fs::resize_file(path, size); // sparse
    VEXFileIO file;
    ASSERT_EQ(file.Open(path, 8, 1), 0);
    EXPECT_EQ(file.SizeBySeeking(), size);
}

// If time_t has 32 bits, this program cannot set the later dates. Therefore touch sets them.
TEST_F(VEXFileIOTest, OpensFilesOfAnyDate)
{
    for (const char *date : {"1901-12-31", "2038-01-20", "2106-02-08"}) {
        const std::string path = Make("dated", date);
        ASSERT_EQ(std::system(("touch -d " + std::string(date) + ' ' + path).c_str()), 0);
        VEXFileIO file;
        ASSERT_EQ(file.Open(path, 8, 1), 0) << date;
        EXPECT_EQ(ReadText(file, 100), date);
    }
}

TEST_F(VEXFileIOTest, OpeningAMissingFileForReadingDoesNotCreateIt)
{
    EXPECT_EQ(OpenError(Path("missing"), 8), ENOENT);
    EXPECT_FALSE(fs::exists(Path("missing")));
    EXPECT_EQ(OpenError(Path("no/folder"), 16), ENOENT);
    EXPECT_EQ(OpenError("", 8), ENOENT);
}

TEST_F(VEXFileIOTest, ADirectoryIsRefused)
{
    EXPECT_EQ(OpenError(mFolder, 8), EISDIR);
    EXPECT_EQ(OpenError(mFolder, 16), EISDIR);
}

// The daemon must not wait until a process opens the other end.
TEST_F(VEXFileIOTest, AFifoIsRefusedWithoutWaitingForAPeer)
{
    ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0600), 0);
    EXPECT_EQ(OpenError(Path("fifo"), 8), ENXIO);
    EXPECT_EQ(OpenError(Path("fifo"), 16), ENXIO);
}

TEST_F(VEXFileIOTest, DevicesAndSocketsAreRefused)
{
    EXPECT_EQ(OpenError("/dev/zero", 8), ENXIO);
    EXPECT_EQ(OpenError("/dev/null", 16), ENXIO);

    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    Path("socket").copy(address.sun_path, sizeof address.sun_path - 1);
    const int peer = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(peer, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    EXPECT_EQ(OpenError(Path("socket"), 8), ENXIO);
    close(peer);
}

TEST_F(VEXFileIOTest, ARefusedFileLeavesNoDescriptorOpen)
{
    EXPECT_EQ(OpenError(mFolder, 8), EISDIR);
    EXPECT_TRUE(DescriptorsOf(mFolder).empty());
}

TEST_F(VEXFileIOTest, OtherFlagsAndPropertiesAreRefused)
{
    const std::string path = Make("kept", "kept");
    for (const int flags : {0, 1, 4, 8 | 4, 32, 16 | 32, -1}) {
        EXPECT_EQ(OpenError(path, flags), EINVAL) << flags;
    }
    for (const int properties : {0, 2, 4, 5, -1}) {
        EXPECT_EQ(OpenError(path, 16, properties), EINVAL) << properties;
    }
    EXPECT_EQ(Text("kept"), "kept");
}

TEST_F(VEXFileIOTest, ANameThatContainsANulIsRefused)
{
    const std::string path = Make("kept", "kept");
    EXPECT_EQ(OpenError(path + '\0' + ".xml", 16), EINVAL);
    EXPECT_EQ(Text("kept"), "kept");
}

TEST_F(VEXFileIOTest, ASecondOpenFailsAndLeavesTheFirstFileOpen)
{
    VEXFileIO file;
    ASSERT_EQ(file.Open(Path("first"), 16, 1), 0);
    errno = 0;
    EXPECT_LT(file.Open(Path("second"), 16, 1), 0);
    EXPECT_EQ(errno, EBUSY);
    EXPECT_FALSE(fs::exists(Path("second")));
    EXPECT_EQ(WriteText(file, "text"), 4U);
    EXPECT_EQ(Text("first"), "text");
}

TEST_F(VEXFileIOTest, CanBeOpenedAgainAfterClose)
{
    VEXFileIO file;
    ASSERT_EQ(file.Open(Path("first"), 16, 1), 0);
    EXPECT_EQ(WriteText(file, "1"), 1U);
    file.Close();
    ASSERT_EQ(file.Open(Path("second"), 16, 1), 0);
    EXPECT_EQ(WriteText(file, "2"), 1U);
    EXPECT_EQ(Text("first"), "1");
    EXPECT_EQ(Text("second"), "2");
}

TEST_F(VEXFileIOTest, OperationsWithoutAnOpenFileDoNothing)
{
    VEXFileIO file;
    EXPECT_EQ(WriteText(file, "text"), 0U);
    EXPECT_EQ(ReadText(file, 10), "");
    EXPECT_EQ(file.SizeBySeeking(), 0U);
    file.Close();
}

TEST_F(VEXFileIOTest, IsNotInheritedByOtherPrograms)
{
    VEXFileIO file;
    ASSERT_EQ(file.Open(Path("own"), 16, 1), 0);
    const std::vector<int> descriptors = DescriptorsOf(Path("own"));
    ASSERT_EQ(descriptors.size(), 1U);
    EXPECT_EQ(fcntl(descriptors[0], F_GETFD), FD_CLOEXEC);
}

TEST_F(VEXFileIOTest, TheDestructorClosesTheFile)
{
    {
        VEXFileIO file;
        ASSERT_EQ(file.Open(Path("own"), 16, 1), 0);
        EXPECT_EQ(DescriptorsOf(Path("own")).size(), 1U);
    }
    EXPECT_TRUE(DescriptorsOf(Path("own")).empty());
}

// The system first writes the part that fits, and returns an error for the next write.
TEST_F(VEXFileIOTest, WriteContinuesAfterAShortWriteAndReturnsTheBytesWritten)
{
    rlimit former{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &former), 0);
    const auto formerAction = std::signal(SIGXFSZ, SIG_IGN);
    rlimit small = former;
    small.rlim_cur = 60;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);

    VEXFileIO file;
    EXPECT_EQ(file.Open(Path("limited"), 16, 1), 0);
    errno = 0;
    EXPECT_EQ(WriteText(file, std::string(100, 'x')), 60U);
    EXPECT_EQ(errno, EFBIG);
    errno = 0;
    EXPECT_EQ(WriteText(file, "y"), 0U);
    EXPECT_EQ(errno, EFBIG);

    setrlimit(RLIMIT_FSIZE, &former);
    std::signal(SIGXFSZ, formerAction);
    EXPECT_EQ(Text("limited"), std::string(60, 'x'));
}
