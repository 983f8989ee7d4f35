#include "stream_stand_in.h"
#include "support/child.h"
#include "vexbase/vex_output.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <vector>

using test::StandIn;
using vexbase::WriteFault;
using vexbase::WriteProgress;

TEST(OutputLine, AFaultGoesToStandardErrorAndProgressToStandardOutput)
{
    const test::Output output = test::Capture([] {
        WriteFault({"Open", ": a fault"});
        WriteProgress({"Open", ": progress"});
    });
    EXPECT_EQ(output.err, "Open: a fault\n");
    EXPECT_EQ(output.out, "Open: progress\n");
}

TEST(OutputLine, BytesAreWrittenUnchanged)
{
    std::string bytes = "%s%n%d {} \\n";
    for (int byte = 0; byte < 256; ++byte) {
        bytes += static_cast<char>(byte);
    }
    const test::Output output = test::Capture([&bytes] {
        WriteFault({bytes, "|", bytes});
        WriteProgress({});
    });
    EXPECT_EQ(output.err, bytes + "|" + bytes + "\n");
    EXPECT_EQ(output.out, "\n");
}

TEST(OutputLine, LinesOfSeveralThreadsDoNotMix)
{
    const std::string line(200, 'x');
    const test::Output output = test::Capture([&] {
        std::vector<std::thread> threads;
        threads.reserve(4);
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                for (int round = 0; round < 200; ++round) {
                    WriteFault({line, "!"});
                }
            });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
    });
    std::istringstream lines(output.err);
    std::string read;
    int count = 0;
    while (std::getline(lines, read)) {
        EXPECT_EQ(read, line + "!");
        ++count;
    }
    EXPECT_EQ(count, 800);
}

TEST(OutputLine, LinesAppearAgainAfterAFullDisk)
{
    const test::Output output = test::InChild([] {
        const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
        ASSERT_GE(full, 0);
        {
            const StandIn out(STDOUT_FILENO, full);
            const StandIn err(STDERR_FILENO, full);
            WriteProgress({"lost"});
            WriteFault({"lost"});
            WriteFault({"lost, too"});
        }
        WriteProgress({"there again"});
        WriteFault({"there again"});
        WriteFault({"and there"});
        close(full);
    });
    EXPECT_EQ(output.out, "Lines lost: 1 (no room, or no reader)\nthere again\n");
    EXPECT_EQ(output.err, "Lines lost: 2 (no room, or no reader)\nthere again\nand there\n");
}

// A line is cut when the disk is full or the largest size of a file is reached. In the
// second case every further write raises SIGXFSZ.
TEST(OutputLine, AfterALineThatWasCutTheNextStartsOnANewLine)
{
    const test::Output output = test::InChild([] {
        rlimit former{};
        ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &former), 0);
        const rlimit narrow{10, former.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &narrow), 0);
        WriteFault({"0123456789ab"});
        WriteFault({"lost"});
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &former), 0);
        WriteFault({"there again"});
        WriteFault({"and there"});
    });
    EXPECT_EQ(output.err, "0123456789\nLines lost: 2 (no room, or no reader)\n"
                          "there again\nand there\n");
}

TEST(OutputLine, ACountThatWasCutIsWrittenAgain)
{
    const test::Output output = test::InChild([] {
        rlimit former{};
        ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &former), 0);
        for (const rlim_t size : {2U, 12U}) {
            const rlimit narrow{size, former.rlim_max};
            ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &narrow), 0);
            WriteFault({"lost"});
        }
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &former), 0);
        WriteFault({"there again"});
    });
    EXPECT_EQ(output.err, "lo\nLines los\nLines lost: 2 (no room, or no reader)\nthere again\n");
}

TEST(OutputLine, ADescriptorThatWasReplacedIsUsed)
{
    const test::Output output = test::InChild([] {
        const test::Channel pipe(test::Channel::Kind::Pipe);
        const int saved = dup(STDERR_FILENO);
        WriteFault({"before"});
        // As in a daemon that detaches: closed, then opened on another kind of file.
        close(STDERR_FILENO);
        WriteFault({"lost"});
        dup2(pipe.Writer(), STDERR_FILENO);
        WriteFault({"to the pipe"});
        EXPECT_EQ(test::ReadAll(pipe.Reader()),
                  "Lines lost: 1 (no room, or no reader)\nto the pipe\n");
        dup2(saved, STDERR_FILENO);
        close(saved);
        WriteFault({"after"});
    });
    EXPECT_EQ(output.err, "before\nafter\n");
}
