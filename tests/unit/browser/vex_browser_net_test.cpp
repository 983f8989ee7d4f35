#include "browser/vex_browser.h"
#include "formats/browse_document.h"
#include "scripted_engine.h"
#include "support/allocated.h"
#include "support/capture.h"
#include "watched_folder.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

using formats::ComposeBrowseDocument;
using test::ScriptedEngine;
using Events = std::vector<std::string>;

namespace {

constexpr const char *kFolder = "/var/www/discovery";
constexpr const char *kFile = "/var/www/discovery/browse.json";

// The events in the folder when a list is published.
const Events kPublished{"create __browse.json", "close __browse.json", "rename browse.json"};

std::string Published()
{
    std::ifstream file(kFile);
    return {std::istreambuf_iterator<char>(file), {}};
}

// A list of one device, and its document.
formats::SSDPDeviceMap List(const std::string &hostName)
{
    formats::SSDPDeviceMap list;
    list["usn"].hostName = hostName;
    return list;
}

std::string Document(const std::string &hostName)
{
    return ComposeBrowseDocument(List(hostName));
}

class Browser : public testing::Test
{
protected:
    // The folder is empty before and after every test.
    ~Browser() override
    {
        Stop();
        unlink(kFile);
        unlink("/var/www/discovery/__browse.json");
    }

    // A browser that waits for its first change.
    void Start()
    {
        mBrowser = std::make_unique<VEXBrowser>(&mEngine);
        mEngine.AwaitIdle();
    }

    // A browser that has written its first list; its count starts again.
    void StartWithAWrite()
    {
        Start();
        mEngine.Change(List("first"));
        mEngine.TimeOut(10);
        ASSERT_EQ(Published(), Document("first"));
        static_cast<void>(mFolder.Events());
    }

    void Stop()
    {
        mEngine.End();
        if (mBrowser) {
            mBrowser->Stop(vexbase::kInfinite);
            mBrowser.reset();
        }
    }

    ScriptedEngine mEngine;
    test::WatchedFolder mFolder{kFolder};
    std::unique_ptr<VEXBrowser> mBrowser;
};

} // namespace

TEST_F(Browser, WritesAnEmptyListAtOnceDirectlyToItsPath)
{
    Start();
    EXPECT_EQ(Published(), "[]");
    EXPECT_EQ(mFolder.Events(), (Events{"create browse.json", "close browse.json"}));
}

TEST_F(Browser, ReplacesTheListOfAnEarlierRun)
{
    std::ofstream(kFile) << "[{\"serviceDescription\":\"of an earlier run\"}]";
    Start();
    EXPECT_EQ(Published(), "[]");
}

TEST_F(Browser, WaitsForChangesInStepsOf500Ms)
{
    Start();
    mEngine.TimeOut(3);
    EXPECT_EQ(mEngine.TimeOuts(), (std::set<unsigned int>{500}));
}

// If a wait got another map, the list could be in memory three times: in the registry, in this
// map and in the pending list.
TEST_F(Browser, PassesItsPendingListToBeReplaced)
{
    Start();
    EXPECT_EQ(ComposeBrowseDocument(mEngine.Passed()), "[]");
    mEngine.Change(List("a"));
    EXPECT_EQ(ComposeBrowseDocument(mEngine.Passed()), Document("a"));
    mEngine.Change(List("b"));
    mEngine.TimeOut(1);
    EXPECT_EQ(ComposeBrowseDocument(mEngine.Passed()), Document("b"));
}

TEST_F(Browser, FreesAListWhenItIsWritten)
{
    StartWithAWrite();
    EXPECT_EQ(ComposeBrowseDocument(mEngine.Passed()), "[]");
}

TEST_F(Browser, FreesTheTextWhenItIsWritten)
{
    constexpr std::size_t kLength = 1000000;
    StartWithAWrite();
    const std::size_t before = test::Allocated();
    mEngine.Change(List(std::string(kLength, 'a')));
    mEngine.TimeOut(10);
    ASSERT_GT(Published().size(), kLength);
    EXPECT_LT(test::Allocated(), before + kLength / 2);
}

// Without ReturnFreeMemory, the C library would keep free memory that is followed by memory in use.
TEST_F(Browser, ReturnsFreeMemoryToTheSystemWhenAListIsWritten)
{
    if (test::Allocated() == 0) {
        GTEST_SKIP() << "the sanitizer's allocator returns no memory";
    }
    StartWithAWrite();
    constexpr std::size_t kBlocks = 8000;
    constexpr std::size_t kBlockBytes = 1000;
    std::vector<std::string> blocks(kBlocks, std::string(kBlockBytes, 'x'));
    const std::string inUse = std::move(blocks.back());
    std::vector<std::string>().swap(blocks);
    const std::size_t before = test::ResidentBytes();
    mEngine.Change(List("a"));
    mEngine.TimeOut(10);
    ASSERT_EQ(Published(), Document("a"));
    EXPECT_LT(test::ResidentBytes(), before - kBlocks * kBlockBytes / 2);
}

TEST_F(Browser, WritesTheFirstListOnlyAtTheEleventhCycle)
{
    Start();
    static_cast<void>(mFolder.Events());
    mEngine.Change(List("a"));
    mEngine.TimeOut(9);
    EXPECT_EQ(Published(), "[]");
    EXPECT_EQ(mFolder.Events(), Events());
    mEngine.TimeOut(1);
    EXPECT_EQ(Published(), Document("a"));
    EXPECT_EQ(mFolder.Events(), kPublished);
}

TEST_F(Browser, WritesAChangeAfterTenQuietCyclesAtOnce)
{
    StartWithAWrite();
    mEngine.TimeOut(10);
    mEngine.Change(List("b"));
    EXPECT_EQ(Published(), Document("b"));
    EXPECT_EQ(mFolder.Events(), kPublished);
}

TEST_F(Browser, WritesAChangeAfterManyQuietCyclesAtOnce)
{
    StartWithAWrite();
    mEngine.TimeOut(1000);
    mEngine.Change(List("b"));
    EXPECT_EQ(Published(), Document("b"));
    mEngine.Change(List("c")); // the count has started again
    EXPECT_EQ(Published(), Document("b"));
}

TEST_F(Browser, WritesAChangeOfTheTenthCycleInTheEleventh)
{
    StartWithAWrite();
    mEngine.TimeOut(9);
    mEngine.Change(List("b"));
    EXPECT_EQ(Published(), Document("first"));
    mEngine.TimeOut(1);
    EXPECT_EQ(Published(), Document("b"));
}

TEST_F(Browser, WritesTenChangesAfterAWriteOnce)
{
    StartWithAWrite();
    for (int number = 1; number <= 10; ++number) {
        mEngine.Change(List(std::to_string(number)));
    }
    EXPECT_EQ(mFolder.Events(), Events());
    mEngine.TimeOut(1);
    EXPECT_EQ(mFolder.Events(), kPublished);
    EXPECT_EQ(Published(), Document("10"));
}

TEST_F(Browser, WritesEveryEleventhOfASteadyStreamOfChanges)
{
    StartWithAWrite();
    for (int number = 1; number <= 33; ++number) {
        mEngine.Change(List(std::to_string(number)));
        EXPECT_EQ(mFolder.Events(), number % 11 == 0 ? kPublished : Events()) << number;
    }
    EXPECT_EQ(Published(), Document("33"));
}

TEST_F(Browser, WritesNothingWhileNothingChanges)
{
    StartWithAWrite();
    mEngine.TimeOut(50);
    EXPECT_EQ(mFolder.Events(), Events());
}

TEST_F(Browser, WritesAnEmptyListWhenTheLastDeviceIsGone)
{
    StartWithAWrite();
    mEngine.Change({});
    mEngine.TimeOut(10);
    EXPECT_EQ(Published(), "[]");
    EXPECT_EQ(mFolder.Events(), kPublished);
}

TEST_F(Browser, ReportsEveryFailedWaitWithoutCountingIt)
{
    StartWithAWrite();
    mEngine.Change(List("b"));
    mEngine.TimeOut(9);
    const test::Output output = test::Capture([&] {
        mEngine.Fail(-1, 12);
        mEngine.Fail(-2, 1);
        mEngine.Fail(1, 1);
    });
    std::string expected;
    for (int line = 0; line < 14; ++line) {
        expected += "ThreadLoop: Problem with SSDP...\n";
    }
    EXPECT_EQ(output.out, expected);
    EXPECT_EQ(output.err, "");
    EXPECT_EQ(Published(), Document("first"));
    mEngine.TimeOut(1); // the pending list is still pending
    EXPECT_EQ(Published(), Document("b"));
}

TEST_F(Browser, WritesALineAtItsEndAndKeepsTheList)
{
    StartWithAWrite();
    const test::Output output = test::Capture([&] { Stop(); });
    EXPECT_EQ(output.out, "ThreadLoop: Exiting...\n");
    EXPECT_EQ(Published(), Document("first"));
}

TEST_F(Browser, RemovesTheListAndTheScratchFileAndNothingElse)
{
    for (const char *name : {"browse.json", "__browse.json", "index.html"}) {
        std::ofstream(std::string(kFolder) + "/" + name) << "[]";
    }
    VEXBrowser::RemoveList();
    EXPECT_EQ(access(kFile, F_OK), -1);
    EXPECT_EQ(access("/var/www/discovery/__browse.json", F_OK), -1);
    EXPECT_EQ(unlink("/var/www/discovery/index.html"), 0);
    VEXBrowser::RemoveList(); // there is no list
}

// The line deliberately has no colon and no space after the operation's name.
TEST_F(Browser, ReportsAFolderThatIsMissing)
{
    ASSERT_EQ(rename(kFolder, "/var/www/away"), 0);
    EXPECT_EQ(test::Capture([&] { Start(); }).err,
              "WriteJSONFileCould not open \"/var/www/discovery/browse.json\" (errno:2)\n");
    const test::Output output = test::Capture([&] {
        mEngine.Change(List("a"));
        mEngine.TimeOut(10);
    });
    EXPECT_EQ(output.err,
              "WriteJSONFileCould not open \"/var/www/discovery/__browse.json\" (errno:2)\n");
    EXPECT_EQ(output.out, "");
    ASSERT_EQ(rename("/var/www/away", kFolder), 0);
    EXPECT_EQ(mFolder.Events(), Events());
    mEngine.TimeOut(11); // no retry before the next change
    EXPECT_EQ(mFolder.Events(), Events());
    mEngine.Change(List("b"));
    EXPECT_EQ(Published(), Document("b"));
}

TEST_F(Browser, ReportsAFolderThatIsReadOnlyAndKeepsThePublishedList)
{
    ASSERT_EQ(mount("tmpfs", kFolder, "tmpfs", 0, nullptr), 0);
    StartWithAWrite();
    ASSERT_EQ(mount("tmpfs", kFolder, "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr), 0);
    const test::Output output = test::Capture([&] {
        mEngine.Change(List("b"));
        mEngine.TimeOut(10);
    });
    EXPECT_EQ(output.err,
              "WriteJSONFileCould not open \"/var/www/discovery/__browse.json\" (errno:30)\n");
    EXPECT_EQ(Published(), Document("first"));
    Stop();
    ASSERT_EQ(umount(kFolder), 0);
}

TEST_F(Browser, PublishesNoScratchFileThatItCouldNotOpen)
{
    StartWithAWrite();
    ASSERT_EQ(symlink("__browse.json", "/var/www/discovery/__browse.json"), 0);
    const test::Output output = test::Capture([&] {
        mEngine.Change(List("b"));
        mEngine.TimeOut(10);
    });
    EXPECT_EQ(output.err,
              "WriteJSONFileCould not open \"/var/www/discovery/__browse.json\" (errno:40)\n");
    EXPECT_EQ(Published(), Document("first"));
}

// The scratch file is deliberately renamed after a failed write, too: the published list is
// then empty.
TEST_F(Browser, ReportsAFullMediumAndPublishesTheWrittenPart)
{
    ASSERT_EQ(mount("tmpfs", kFolder, "tmpfs", 0, "size=8k"), 0);
    StartWithAWrite();
    std::ofstream("/var/www/discovery/filler") << std::string(4096, 'x') << std::flush;
    const test::Output output = test::Capture([&] {
        mEngine.Change(List("b"));
        mEngine.TimeOut(10);
    });
    EXPECT_EQ(
        output.err,
        "WriteJSONFile: Could not write to \"/var/www/discovery/__browse.json\" (errno:28)\n");
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(Published(), "");
    EXPECT_EQ(access("/var/www/discovery/__browse.json", F_OK), -1);
    Stop();
    ASSERT_EQ(umount(kFolder), 0);
}
