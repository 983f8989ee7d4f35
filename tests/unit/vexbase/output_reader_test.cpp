#include "stream_stand_in.h"
#include "support/child.h"
#include "vexbase/vex_output.h"

#include <climits>
#include <csignal>
#include <cstdio>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sstream>
#include <string>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <termios.h>

// Lines for readers that stall or have closed their end. If the writer waited for a reader,
// the test would not end.

using test::Channel;
using test::ReadAll;
using test::StandIn;
using vexbase::WriteFault;
using vexbase::WriteProgress;

namespace {

constexpr const char *kLostThree = "Lines lost: 3 (no room, or no reader)\n";

bool EndsIn(const std::string &text, const std::string &end)
{
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// A terminal that outputs the written bytes without changes.
class Terminal
{
public:
    Terminal()
    {
        if (openpty(&mMaster, &mSlave, nullptr, nullptr, nullptr) != 0) {
            throw std::system_error(errno, std::generic_category(), "openpty");
        }
        termios settings{};
        tcgetattr(mSlave, &settings);
        cfmakeraw(&settings);
        tcsetattr(mSlave, TCSANOW, &settings);
        fcntl(mMaster, F_SETFL, O_NONBLOCK);
    }
    ~Terminal()
    {
        close(mSlave);
        close(mMaster);
    }
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    [[nodiscard]] int Slave() const { return mSlave; }

    // The next output; empty if there is none for a generous time.
    [[nodiscard]] std::string Read() const
    {
        pollfd readable{mMaster, POLLIN, 0};
        return poll(&readable, 1, 60000) == 1 ? ReadAll(mMaster) : "";
    }

    // The output up to and including a text.
    [[nodiscard]] std::string ReadTo(const std::string &end) const
    {
        std::string text = Read();
        for (std::string more = text; !more.empty() && !EndsIn(text, end); text += more) {
            more = Read();
        }
        return text;
    }

private:
    int mMaster = -1;
    int mSlave = -1;
};

// Allows only the standard descriptors. Opening a stream's file again then fails, as it does
// without /proc.
class NoDescriptors
{
public:
    NoDescriptors()
    {
        getrlimit(RLIMIT_NOFILE, &mFormer);
        const rlimit none{STDERR_FILENO + 1, mFormer.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &mFormer); }
    NoDescriptors(const NoDescriptors &) = delete;
    NoDescriptors &operator=(const NoDescriptors &) = delete;

private:
    rlimit mFormer{};
};

bool IsPending(int signal)
{
    sigset_t pending{};
    sigpending(&pending);
    return sigismember(&pending, signal) == 1;
}

// Writes three lines to a full channel, and another one when it is empty again.
std::string LinesOfAFull(Channel &channel)
{
    channel.Fill();
    const StandIn err(STDERR_FILENO, channel.Writer());
    WriteFault({"lost"});
    WriteFault({"lost"});
    WriteFault({"lost"});
    EXPECT_EQ(fcntl(channel.Writer(), F_GETFL) & O_NONBLOCK,
              0); // other processes share the file description
    static_cast<void>(ReadAll(channel.Reader()));
    WriteFault({"there again"});
    return ReadAll(channel.Reader());
}

} // namespace

TEST(OutputReader, AFullPipeLosesLinesAndGetsTheirCountLater)
{
    Channel pipe(Channel::Kind::Pipe);
    EXPECT_EQ(LinesOfAFull(pipe), std::string(kLostThree) + "there again\n");
}

TEST(OutputReader, AFullSocketLosesLinesAndGetsTheirCountLater)
{
    Channel socket(Channel::Kind::Socket);
    EXPECT_EQ(LinesOfAFull(socket), std::string(kLostThree) + "there again\n");
}

TEST(OutputReader, AFullPipeThatCannotBeOpenedAgainLosesLinesAndGetsTheirCountLater)
{
    Channel pipe(Channel::Kind::Pipe);
    pipe.Fill();
    const StandIn out(STDOUT_FILENO, pipe.Writer());
    const NoDescriptors none;
    WriteProgress({"lost"});
    WriteProgress({"lost"});
    WriteProgress({"lost"});
    static_cast<void>(ReadAll(pipe.Reader()));
    WriteProgress({"there again"});
    EXPECT_EQ(ReadAll(pipe.Reader()), std::string(kLostThree) + "there again\n");
    // If poll() reports room, a pipe has room for PIPE_BUF bytes.
    WriteProgress({std::string(PIPE_BUF + 1, 'x')});
    WriteProgress({"and there"});
    EXPECT_EQ(ReadAll(pipe.Reader()),
              std::string(PIPE_BUF, 'x') + "\nLines lost: 1 (no room, or no reader)\nand there\n");
}

TEST(OutputReader, AStoppedTerminalLosesLinesAndGetsTheirCountLater)
{
    const Terminal terminal;
    const StandIn err(STDERR_FILENO, terminal.Slave());
    tcflow(terminal.Slave(), TCOOFF); // Ctrl-S
    WriteFault({"lost"});
    WriteFault({"lost"});
    WriteFault({"lost"});
    tcflow(terminal.Slave(), TCOON);
    WriteFault({"there again"});
    EXPECT_EQ(terminal.ReadTo("again\n"), std::string(kLostThree) + "there again\n");
}

// When a terminal takes a part of a line, the rest is lost.
TEST(OutputReader, ATerminalThatNobodyReadsKeepsWholeLinesAndCountsTheOthers)
{
    const Terminal terminal;
    const StandIn err(STDERR_FILENO, terminal.Slave());
    const std::string line(1000, 'x');
    unsigned long written = 0;
    for (; written < 500; ++written) {
        WriteFault({line});
    }
    std::string text;
    for (; !EndsIn(text, "there again\n"); ++written) {
        WriteFault({"there again"});
        text += terminal.Read();
    }
    unsigned long accountedFor = 0;
    unsigned long lost = 0;
    std::istringstream lines(text);
    for (std::string read; std::getline(lines, read);) {
        if (std::sscanf(read.c_str(), "Lines lost: %lu", &lost) == 1) {
            EXPECT_EQ(read, "Lines lost: " + std::to_string(lost) + " (no room, or no reader)");
            accountedFor += lost;
        } else if (read == line || read == "there again") {
            ++accountedFor;
        } else {
            EXPECT_EQ(read, std::string(read.size(), 'x')); // cut, so it counts as lost
        }
    }
    EXPECT_GT(lost, 0U);
    EXPECT_EQ(accountedFor, written);
}

TEST(OutputReader, ATerminalDoesNotStopAProcessInItsBackground)
{
    test::InChild([] {
        const Terminal terminal;
        termios settings{};
        tcgetattr(terminal.Slave(), &settings);
        settings.c_lflag |= TOSTOP;
        tcsetattr(terminal.Slave(), TCSANOW, &settings);
        ASSERT_GE(setsid(), 0);
        ASSERT_NE(std::signal(SIGHUP, SIG_IGN), SIG_ERR); // raised when the terminal is closed
        ASSERT_EQ(ioctl(terminal.Slave(), TIOCSCTTY, 0), 0);
        const pid_t background = fork();
        if (background == 0) {
            setpgid(0, 0);
            dup2(terminal.Slave(), STDERR_FILENO);
            WriteFault({"from the background"});
            _exit(0);
        }
        int status = -1;
        EXPECT_EQ(waitpid(background, &status, WUNTRACED), background);
        EXPECT_EQ(status, 0);
        EXPECT_EQ(terminal.ReadTo("\n"), "from the background\n");
        kill(background, SIGKILL); // if it was stopped, it would never end
    });
}

TEST(OutputReader, AClosedPipeRaisesNoSignal)
{
    Channel pipe(Channel::Kind::Pipe);
    pipe.CloseReader();
    {
        const StandIn err(STDERR_FILENO, pipe.Writer());
        WriteFault({"lost"});
        WriteFault({"lost"});
        WriteFault({"lost"});
    }
    EXPECT_FALSE(IsPending(SIGPIPE));
    Channel good(Channel::Kind::Pipe);
    const StandIn err(STDERR_FILENO, good.Writer());
    WriteFault({"there again"});
    EXPECT_EQ(ReadAll(good.Reader()), std::string(kLostThree) + "there again\n");
}

TEST(OutputReader, ASignalThatWasPendingBeforeStaysPending)
{
    Channel pipe(Channel::Kind::Pipe);
    pipe.CloseReader();
    sigset_t one{};
    sigset_t former{};
    sigemptyset(&one);
    sigaddset(&one, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &one, &former);
    raise(SIGPIPE);
    {
        const StandIn out(STDOUT_FILENO, pipe.Writer());
        WriteProgress({"lost"});
    }
    EXPECT_TRUE(IsPending(SIGPIPE));
    const timespec now{};
    EXPECT_EQ(sigtimedwait(&one, nullptr, &now), SIGPIPE);
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
}
