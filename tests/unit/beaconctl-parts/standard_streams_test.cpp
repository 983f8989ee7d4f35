#include "beaconctl/output.h"
#include "support/live_child.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace beaconctl;

namespace {

// The result of a call as an exit status that no signal or failure has.
constexpr int kTrue = 40;
constexpr int kFalse = 41;

int Result(bool value)
{
    return value ? kTrue : kFalse;
}

// Makes standard output a pipe without a reader.
void LoseReader()
{
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
}

} // namespace

TEST(WriteOutput, WritesTheWholeTextToAFullNonBlockingStream)
{
    const std::string text(1 << 22, 'x');
    test::LiveChild child([&text] {
        fcntl(STDOUT_FILENO, F_SETFL, O_NONBLOCK);
        return Result(WriteOutput(text));
    });
    EXPECT_EQ(child.WaitForEnd(), kTrue);
    EXPECT_EQ(child.Out().size(), text.size());
}

TEST(WriteOutput, ReportsThatItCannotWrite)
{
    test::LiveChild child([] {
        dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO);
        return Result(WriteOutput("text"));
    });
    EXPECT_EQ(child.WaitForEnd(), kFalse);
    EXPECT_EQ(child.Err(), "beaconctl: cannot write: No space left on device\n");
}

TEST(WaitWhileOutputIsRead, WaitsToTheEndIfTheOutputHasAReader)
{
    test::LiveChild child([] { return Result(WaitWhileOutputIsRead(1)); });
    EXPECT_EQ(child.WaitForEnd(), kTrue);
    EXPECT_EQ(child.Err(), "");
}

TEST(WaitWhileOutputIsRead, WithoutAReaderEndsTheProgramBySigpipe)
{
    test::LiveChild child([] {
        std::signal(SIGPIPE, SIG_DFL);
        LoseReader();
        return Result(WaitWhileOutputIsRead(3600000));
    });
    EXPECT_EQ(child.WaitForEnd(), 128 + SIGPIPE);
}

TEST(WaitWhileOutputIsRead, WithoutAReaderReportsABrokenPipeIfSigpipeIsIgnored)
{
    test::LiveChild child([] {
        std::signal(SIGPIPE, SIG_IGN);
        LoseReader();
        return Result(WaitWhileOutputIsRead(3600000));
    });
    EXPECT_EQ(child.WaitForEnd(), kFalse);
    EXPECT_EQ(child.Err(), "beaconctl: cannot write: Broken pipe\n");
}

TEST(OccupyClosedStreams, KeepsTheNumberOfAClosedStreamFromASocket)
{
    test::LiveChild child([] {
        close(STDIN_FILENO);
        close(STDOUT_FILENO);
        OccupyClosedStreams();
        const bool written = WriteOutput("text");
        return Result(socket(AF_INET, SOCK_DGRAM, 0) > STDERR_FILENO && !written);
    });
    EXPECT_EQ(child.WaitForEnd(), kTrue);
    EXPECT_EQ(child.Err(), "beaconctl: cannot write: Bad file descriptor\n");
}
