#include "configd/stored_file.h"

#include "support/private_namespace.h"

#include <fcntl.h>
#include <fstream>
#include <gmock/gmock.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

// On the test's own /var, so that file systems may be mounted and filled.
namespace configd {
namespace {

using testing::Eq;
using testing::Optional;

const std::string kFile = "/var/settings/file.json";

class StoredFile : public testing::Test
{
protected:
    StoredFile() { test::OnHost("mkdir /var/settings"); }
    ~StoredFile() override
    {
        test::OnHost("umount /var/settings 2>/dev/null; rm -r /var/settings");
    }

    static void Write(const std::string &text) { std::ofstream(kFile) << text; }

    static std::string ReadFault()
    {
        try {
            static_cast<void>(ReadStoredFile(kFile));
        } catch (const std::runtime_error &error) {
            return error.what();
        }
        return "no fault";
    }

    static bool Exists(const std::string &name) { return access(name.c_str(), F_OK) == 0; }
};

TEST_F(StoredFile, ThatDoesNotExistHasNoText)
{
    EXPECT_EQ(ReadStoredFile(kFile), std::nullopt);
    EXPECT_EQ(ReadStoredFile("/var/nowhere/file.json"), std::nullopt);
}

TEST_F(StoredFile, IsReadWhole)
{
    for (const std::size_t size : {0U, 1U, 4095U, 4096U, 4097U, 65536U}) {
        const std::string text(size, 'a');
        Write(text);
        EXPECT_EQ(ReadStoredFile(kFile), text);
    }
}

TEST_F(StoredFile, TooLargeToBeOneIsRefused)
{
    Write(std::string(65537, 'a'));
    EXPECT_EQ(ReadFault(), "cannot read /var/settings/file.json: File too large");
}

TEST_F(StoredFile, ThatIsAFolderIsRefused)
{
    test::OnHost("mkdir " + kFile);
    EXPECT_EQ(ReadFault(), "cannot read /var/settings/file.json: Is a directory");
}

TEST_F(StoredFile, ThatCannotBeOpenedIsRefused)
{
    test::OnHost("ln -s file.json " + kFile);
    EXPECT_EQ(ReadFault(),
              "cannot read /var/settings/file.json: Too many levels of symbolic links");
}

TEST_F(StoredFile, IsMadeAndReplaced)
{
    EXPECT_EQ(ReplaceStoredFile(kFile, "one"), std::nullopt);
    EXPECT_EQ(ReadStoredFile(kFile), "one");
    EXPECT_EQ(ReplaceStoredFile(kFile, std::string(65536, 'a')), std::nullopt);
    EXPECT_EQ(ReadStoredFile(kFile), std::string(65536, 'a'));
    EXPECT_EQ(ReplaceStoredFile(kFile, ""), std::nullopt);
    EXPECT_EQ(ReadStoredFile(kFile), "");
    EXPECT_FALSE(Exists(kFile + ".new"));
}

TEST_F(StoredFile, MayHaveANameWithoutAFolder)
{
    ASSERT_EQ(chdir("/var/settings"), 0);
    EXPECT_EQ(ReplaceStoredFile("file.json", "one"), std::nullopt);
    ASSERT_EQ(chdir("/"), 0);
    EXPECT_EQ(ReadStoredFile(kFile), "one");
}

TEST_F(StoredFile, IsReadableForEverybodyAndWritableForItsOwner)
{
    umask(022);
    EXPECT_EQ(ReplaceStoredFile(kFile, "one"), std::nullopt);
    struct stat info
    {
    };
    ASSERT_EQ(stat(kFile.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777U, 0644U);
}

// Whoever has the file open, or is just reading it, keeps the old text whole.
TEST_F(StoredFile, IsReplacedInOneStep)
{
    Write("old text");
    const int before = open(kFile.c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(ReplaceStoredFile(kFile, "new"), std::nullopt);
    std::string text(16, '\0');
    const ssize_t length = read(before, text.data(), text.size());
    close(before);
    EXPECT_EQ(text.substr(0, static_cast<std::size_t>(length)), "old text");
    EXPECT_EQ(ReadStoredFile(kFile), "new");
}

TEST_F(StoredFile, WritesOverWhatAPowerCutLeft)
{
    std::ofstream(kFile + ".new") << "the first half of something longer";
    EXPECT_EQ(ReplaceStoredFile(kFile, "one"), std::nullopt);
    EXPECT_EQ(ReadStoredFile(kFile), "one");
    EXPECT_FALSE(Exists(kFile + ".new"));
}

TEST_F(StoredFile, DoesNotWriteThroughALinkThatSomebodyPutThere)
{
    std::ofstream("/var/settings/victim") << "untouched";
    test::OnHost("ln -s victim " + kFile + ".new");
    EXPECT_THAT(ReplaceStoredFile(kFile, "one"),
                Optional(Eq("cannot write /var/settings/file.json: "
                            "Too many levels of symbolic links")));
    EXPECT_EQ(ReadStoredFile("/var/settings/victim"), "untouched");
}

TEST_F(StoredFile, StaysAsItWasWithoutAFolder)
{
    EXPECT_THAT(ReplaceStoredFile("/var/nowhere/file.json", "one"),
                Optional(Eq("cannot write /var/nowhere/file.json: No such file or directory")));
}

TEST_F(StoredFile, StaysAsItWasOnAFullMedium)
{
    test::OnHost("mount -t tmpfs -o size=8k tmpfs /var/settings");
    Write("one");
    EXPECT_THAT(ReplaceStoredFile(kFile, std::string(8192, 'a')),
                Optional(Eq("cannot write /var/settings/file.json: No space left on device")));
    EXPECT_EQ(ReadStoredFile(kFile), "one");
    EXPECT_FALSE(Exists(kFile + ".new"));
}

TEST_F(StoredFile, StaysAsItWasOnAMediumForReading)
{
    test::OnHost("mount -t tmpfs tmpfs /var/settings");
    Write("one");
    test::OnHost("mount -o remount,bind,ro /var/settings");
    EXPECT_THAT(ReplaceStoredFile(kFile, "two"),
                Optional(Eq("cannot write /var/settings/file.json: Read-only file system")));
    EXPECT_EQ(ReadStoredFile(kFile), "one");
}

} // namespace
} // namespace configd
