#include "configd/stored_file.h"

#include "configd/exit_status.h"

#include "support/private_namespace.h"

#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

// These tests have their own /var: they mount and fill file systems there.
namespace configd {
namespace {

const std::string kFile = "/var/settings/file.json";

class StoredFileTest : public testing::Test
{
protected:
    StoredFileTest() { test::OnHost("mkdir /var/settings"); }
    ~StoredFileTest() override
    {
        test::OnHost("umount /var/settings 2>/dev/null; rm -rf /var/settings");
    }

    static void Write(const std::string &text) { std::ofstream(kFile) << text; }

    static std::optional<std::string> Text(const std::string &name = kFile)
    {
        return StoredFile(name).Text();
    }

    static std::string ReadFault()
    {
        const StoredFile file(kFile);
        EXPECT_EQ(file.Text(), std::nullopt);
        return file.Fault();
    }

    // Replaces the file's text, and returns the fault if there is one.
    static std::string ReplaceFault(const std::string &text, const std::string &name = kFile)
    {
        StoredFile file(name);
        const auto before = file.Text();
        try {
            file.Replace(text);
        } catch (const std::system_error &error) {
            EXPECT_EQ(file.Text(), before);
            return error.what();
        }
        EXPECT_EQ(file.Text(), text);
        return "no fault";
    }

    static bool Exists(const std::string &name) { return access(name.c_str(), F_OK) == 0; }
};

TEST_F(StoredFileTest, HasNoTextIfItDoesNotExist)
{
    EXPECT_EQ(Text(), std::nullopt);
    EXPECT_EQ(StoredFile(kFile).Fault(), "");
}

TEST_F(StoredFileTest, IsReadCompletely)
{
    for (const std::size_t size : {0U, 1U, 4095U, 4096U, 4097U, 65536U}) {
        const std::string text(size, 'a');
        Write(text);
        EXPECT_EQ(Text(), text);
    }
}

TEST_F(StoredFileTest, IsRefusedIfItIsTooLarge)
{
    Write(std::string(65537, 'a'));
    try {
        const StoredFile file(kFile);
        FAIL() << "no fault";
    } catch (const Failure &failure) {
        EXPECT_STREQ(failure.what(), "/var/settings/file.json: more than 65536 bytes");
        EXPECT_EQ(failure.Status(), kDamagedFile);
    }
}

TEST_F(StoredFileTest, IsNotAvailableWithoutItsFolder)
{
    test::OnHost("rmdir /var/settings");
    EXPECT_EQ(ReadFault(), "cannot write /var/settings/file.json: No such file or directory");
    std::ofstream("/var/settings") << "a file in the folder's place";
    EXPECT_EQ(ReadFault(), "cannot read /var/settings/file.json: Not a directory");
}

TEST_F(StoredFileTest, IsNotAvailableIfItDoesNotExistOnAReadOnlyMedium)
{
    test::OnHost("mount -t tmpfs -o ro tmpfs /var/settings");
    EXPECT_EQ(ReadFault(), "cannot write /var/settings/file.json: Read-only file system");
}

TEST_F(StoredFileTest, IsNotAvailableOnAMediumThatFails)
{
    test::OnHost("ln -s /proc/self/mem " + kFile); // reading fails: page 0 is not mapped
    EXPECT_EQ(ReadFault(), "cannot read /var/settings/file.json: Input/output error");
}

TEST_F(StoredFileTest, IsLoadedOnceItIsAvailable)
{
    test::OnHost("mv /var/settings /var/away");
    StoredFile file(kFile);
    file.Load();
    EXPECT_EQ(file.Fault(), "cannot write /var/settings/file.json: No such file or directory");
    EXPECT_EQ(file.Text(), std::nullopt);
    std::ofstream("/var/away/file.json") << "one";
    test::OnHost("mv /var/away /var/settings");
    file.Load();
    EXPECT_EQ(file.Fault(), "");
    EXPECT_EQ(file.Text(), "one");
}

TEST_F(StoredFileTest, ReportsAMissingFolderAsAFaultNotAsAnEdit)
{
    Write("one");
    const StoredFile file(kFile);
    test::OnHost("mv /var/settings /var/away");
    try {
        static_cast<void>(file.IsEdited());
        FAIL() << "no fault";
    } catch (const std::system_error &error) {
        EXPECT_STREQ(error.what(),
                     "cannot write /var/settings/file.json: No such file or directory");
    }
    test::OnHost("mv /var/away /var/settings");
    EXPECT_FALSE(file.IsEdited());
}

TEST_F(StoredFileTest, IsNotAvailableIfItIsAFolder)
{
    test::OnHost("mkdir " + kFile);
    EXPECT_EQ(ReadFault(), "cannot read /var/settings/file.json: Is a directory");
}

TEST_F(StoredFileTest, IsNotAvailableIfItCannotBeOpened)
{
    test::OnHost("ln -s file.json " + kFile);
    EXPECT_EQ(ReadFault(),
              "cannot read /var/settings/file.json: Too many levels of symbolic links");
}

TEST_F(StoredFileTest, IsCreatedAndReplaced)
{
    EXPECT_EQ(ReplaceFault("one"), "no fault");
    EXPECT_EQ(Text(), "one");
    EXPECT_EQ(ReplaceFault(std::string(65536, 'a')), "no fault");
    EXPECT_EQ(Text(), std::string(65536, 'a'));
    EXPECT_EQ(ReplaceFault(""), "no fault");
    EXPECT_EQ(Text(), "");
    EXPECT_FALSE(Exists(kFile + ".new"));
}

TEST_F(StoredFileTest, MayHaveANameWithoutAFolder)
{
    ASSERT_EQ(chdir("/var/settings"), 0);
    EXPECT_EQ(ReplaceFault("one", "file.json"), "no fault");
    ASSERT_EQ(chdir("/"), 0);
    EXPECT_EQ(Text(), "one");
}

TEST_F(StoredFileTest, IsReadableByAllAndWritableByItsOwner)
{
    umask(022);
    EXPECT_EQ(ReplaceFault("one"), "no fault");
    struct stat info = {};
    ASSERT_EQ(stat(kFile.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777U, 0644U);
}

TEST_F(StoredFileTest, IsEditedIfItsTextDiffers)
{
    Write("old text");
    StoredFile file(kFile);
    EXPECT_FALSE(file.IsEdited());
    for (const char *edit : {"old texT", "old tex", "old text ", ""}) {
        Write(edit);
        EXPECT_TRUE(file.IsEdited()) << edit;
    }
    Write("old text");
    EXPECT_FALSE(file.IsEdited()); // the same text as before
    unlink(kFile.c_str());
    EXPECT_TRUE(file.IsEdited());
}

TEST_F(StoredFileTest, IsEditedIfItWasCreatedSinceTheStart)
{
    const StoredFile file(kFile);
    EXPECT_FALSE(file.IsEdited());
    Write("");
    EXPECT_TRUE(file.IsEdited());
}

TEST_F(StoredFileTest, IsNotEditedByItsOwnReplacement)
{
    StoredFile file(kFile);
    for (const std::size_t size : {1U, 4096U, 65536U, 4097U}) {
        file.Replace(std::string(size, 'a'));
        EXPECT_FALSE(file.IsEdited());
    }
    Write(std::string(4096, 'a') + "b");
    EXPECT_TRUE(file.IsEdited());
}

// A reader that has opened the file still reads the complete old text.
TEST_F(StoredFileTest, IsReplacedAtomically)
{
    Write("old text");
    const int before = open(kFile.c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(ReplaceFault("new"), "no fault");
    std::string text(16, '\0');
    const ssize_t length = read(before, text.data(), text.size());
    close(before);
    EXPECT_EQ(text.substr(0, static_cast<std::size_t>(length)), "old text");
    EXPECT_EQ(Text(), "new");
}

TEST_F(StoredFileTest, OverwritesThePartialFileOfAPowerCut)
{
    std::ofstream(kFile + ".new") << "the first half of something longer";
    EXPECT_EQ(ReplaceFault("one"), "no fault");
    EXPECT_EQ(Text(), "one");
    EXPECT_FALSE(Exists(kFile + ".new"));
}

TEST_F(StoredFileTest, DoesNotWriteThroughASymbolicLink)
{
    std::ofstream("/var/settings/victim") << "untouched";
    test::OnHost("ln -s victim " + kFile + ".new");
    EXPECT_EQ(ReplaceFault("one"), "cannot write /var/settings/file.json: "
                                   "Too many levels of symbolic links");
    EXPECT_EQ(Text("/var/settings/victim"), "untouched");
}

TEST_F(StoredFileTest, IsUnchangedIfItsFolderIsMissing)
{
    EXPECT_EQ(ReplaceFault("one", "/var/nowhere/file.json"),
              "cannot write /var/nowhere/file.json: No such file or directory");
}

TEST_F(StoredFileTest, IsUnchangedOnAFullFileSystem)
{
    test::OnHost("mount -t tmpfs -o size=8k tmpfs /var/settings");
    Write("one");
    EXPECT_EQ(ReplaceFault(std::string(8192, 'a')),
              "cannot write /var/settings/file.json: No space left on device");
    EXPECT_EQ(Text(), "one");
    EXPECT_FALSE(Exists(kFile + ".new"));
}

TEST_F(StoredFileTest, IsUnchangedOnAReadOnlyFileSystem)
{
    test::OnHost("mount -t tmpfs tmpfs /var/settings");
    Write("one");
    test::OnHost("mount -o remount,bind,ro /var/settings");
    EXPECT_EQ(ReplaceFault("two"), "cannot write /var/settings/file.json: Read-only file system");
    EXPECT_EQ(Text(), "one");
}

} // namespace
} // namespace configd
