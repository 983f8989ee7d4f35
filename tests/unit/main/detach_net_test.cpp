// These tests run in a private mount namespace, because one of them hides /proc.
#include "denied_call.h"
#include "main/detach.h"
#include "support/capture.h"

#include <QCoreApplication>
#include <QTimer>
#include <array>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <gmock/gmock.h>
#include <map>
#include <optional>
#include <sstream>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

// The limit that getdtablesize() returns, and the number of its calls.
std::optional<int> gTableSize;
int gTableSizeAsked = 0;

} // namespace

// Replaces the C library's function: tests need limits that this machine does not allow.
int getdtablesize() noexcept
{
    ++gTableSizeAsked;
    return gTableSize.value_or(static_cast<int>(sysconf(_SC_OPEN_MAX)));
}

namespace {

using testing::HasSubstr;

// The descriptors of this process and the files that they refer to.
std::map<int, std::string> Descriptors()
{
    std::map<int, std::string> result;
    DIR *folder = opendir("/proc/self/fd");
    // NOLINTNEXTLINE(concurrency-mt-unsafe): one thread
    while (const dirent *entry = readdir(folder)) {
        std::array<char, 256> target{};
        const int number = std::atoi(entry->d_name);
        if (entry->d_name[0] != '.' && number != dirfd(folder) &&
            readlinkat(dirfd(folder), entry->d_name, target.data(), target.size() - 1) > 0) {
            result[number] = target.data();
        }
    }
    closedir(folder);
    return result;
}

// The same as text, without one descriptor.
std::string DescriptorText(int except)
{
    std::ostringstream text;
    for (const auto &[number, target] : Descriptors()) {
        if (number != except) {
            text << number << " " << target << "\n";
        }
    }
    return text.str();
}

constexpr const char *kStandardOnly = "0 /dev/null\n1 /dev/null\n2 /dev/null\n";

struct Outcome
{
    int caller = -1; // exit status of the process that called Detach
    int daemon = -1; // exit status of the detached process; -1 if there was none
    std::string report;
    test::Output output;
};

// The descriptor to which the detached process writes its report. Detach keeps it open.
int gReport = -1;

int StatusOf(pid_t process)
{
    int status = 0;
    if (waitpid(process, &status, 0) <= 0) {
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

[[noreturn]] void ReportAndEnd(const std::string &report)
{
    const ssize_t written = write(gReport, report.data(), report.size());
    _exit(written == static_cast<ssize_t>(report.size()) ? 0 : 99);
}

std::string ReadAll(int descriptor)
{
    std::string text;
    std::array<char, 4096> buffer{};
    ssize_t length = 0;
    while ((length = read(descriptor, buffer.data(), buffer.size())) > 0) {
        text.append(buffer.data(), static_cast<std::size_t>(length));
    }
    return text;
}

// Runs code that detaches and reports, in a child process. This process becomes the parent
// of the detached process and gets its status (not under emulation, which does not support
// that).
Outcome OutcomeOf(const std::function<void()> &code)
{
    Outcome outcome;
    std::array<int, 2> report{};
    prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);
    EXPECT_EQ(pipe(report.data()), 0);
    gReport = report[1];
    outcome.output = test::Capture([&] {
        const pid_t caller = fork();
        if (caller == 0) {
            code();
            _exit(98); // the code must end by itself
        }
        close(report[1]);
        outcome.caller = StatusOf(caller);
        outcome.report = ReadAll(report[0]);
        outcome.daemon = StatusOf(-1);
    });
    close(report[0]);
    return outcome;
}

// The start of the daemon until it detaches.
struct Started
{
    Started() : application(argc, &argument) { descriptors.NoteOpened(); }

    // The descriptors to keep: the application's and this test's.
    [[nodiscard]] std::set<int> Kept() const
    {
        std::set<int> kept = descriptors.Get();
        kept.insert(gReport);
        return kept;
    }

    beacond::OwnDescriptors descriptors;
    int argc = 1;
    std::array<char, 5> name{"test"};
    char *argument = name.data();
    QCoreApplication application;
};

void OpenMany()
{
    for (int i = 0; i < 300; ++i) {
        static_cast<void>(open("/dev/zero", O_RDONLY));
    }
    dup2(STDIN_FILENO, 1000);
}

// Detaches with many open descriptors, and reports the remaining ones.
void DetachFromMany()
{
    OpenMany();
    beacond::Detach({gReport});
    ReportAndEnd(DescriptorText(gReport) + std::to_string(gTableSizeAsked));
}

// The result of reading one option.
struct OptionsRead
{
    bool valid = false;
    bool daemonize = true;
    test::Output output;
};

OptionsRead ReadOption(std::string option)
{
    std::string name = "beacond";
    std::array<char *, 3> arguments{name.data(), option.data(), nullptr};
    OptionsRead read;
    optind = 0; // getopt() starts again
    read.output = test::Capture(
        [&] { read.valid = beacond::ReadOptions(2, arguments.data(), read.daemonize); });
    return read;
}

} // namespace

TEST(ReadOptions, TheOptionForDebuggingLeavesTheDaemonInTheForeground)
{
    const OptionsRead read = ReadOption("-d");
    EXPECT_TRUE(read.valid);
    EXPECT_FALSE(read.daemonize);
    EXPECT_EQ(read.output.out, "");
}

TEST(ReadOptions, ReportsAnUnknownOptionAndTheKnownOne)
{
    const OptionsRead read = ReadOption("-x");
    EXPECT_FALSE(read.valid);
    EXPECT_EQ(read.output.out, "beacond: Unknown option \"?\"\nPossible options:\n"
                               "  -d: debug (don't daemonize)\n");
}

TEST(Detach, EndsTheCallerWith0AndContinuesInANewSession)
{
    const Outcome outcome = OutcomeOf([] {
        const pid_t caller = getpid();
        beacond::Detach({gReport});
        ReportAndEnd(getpid() != caller && getsid(0) == getpid() && getpgrp() == getpid()
                         ? "own session"
                         : "not alone");
    });
    EXPECT_EQ(outcome.caller, 0);
    EXPECT_EQ(outcome.daemon, 0);
    EXPECT_EQ(outcome.report, "own session");
}

TEST(Detach, WritesNothingVisible)
{
    const Outcome outcome = OutcomeOf([] {
        beacond::Detach({gReport});
        ReportAndEnd("");
    });
    EXPECT_EQ(outcome.output.out + outcome.output.err, "");
}

TEST(Detach, NarrowsTheModeOfNewFiles)
{
    const Outcome outcome = OutcomeOf([] {
        umask(0);
        beacond::Detach({gReport});
        ReportAndEnd(std::to_string(umask(0)));
    });
    EXPECT_EQ(outcome.report, std::to_string(027));
}

TEST(Detach, ClosesAllDescriptorsAndOpensTheStandardOnesOnDevNull)
{
    const Outcome outcome = OutcomeOf(DetachFromMany);
    EXPECT_EQ(outcome.report, std::string(kStandardOnly) + "0");
    EXPECT_EQ(outcome.daemon, 0);
}

TEST(Detach, KeepsTheGivenDescriptors)
{
    const Outcome outcome = OutcomeOf([] {
        OpenMany();
        beacond::Detach({gReport, 5, 100, 101, 1000});
        ReportAndEnd(DescriptorText(gReport) + std::to_string(gTableSizeAsked));
    });
    EXPECT_THAT(outcome.report, testing::StartsWith(std::string(kStandardOnly) + "5 "));
    EXPECT_THAT(outcome.report, HasSubstr("\n100 /dev/zero\n101 /dev/zero\n1000 "));
    EXPECT_THAT(outcome.report, testing::EndsWith("\n0")); // without CloseByLoop
}

TEST(Detach, ClosesOneByOneWithoutCloseRange)
{
    const Outcome outcome = OutcomeOf([] {
        test::DenyCall(SYS_close_range, ENOSYS);
        gTableSize = 2000;
        DetachFromMany();
    });
    // The limit is read for each descriptor, and once more at the end.
    EXPECT_EQ(outcome.report, std::string(kStandardOnly) + "2001");
    EXPECT_EQ(outcome.daemon, 0);
}

TEST(Detach, DoesNotCountToALimitOfABillion)
{
    const Outcome outcome = OutcomeOf([] {
        gTableSize = 1073741816;
        DetachFromMany();
    });
    EXPECT_EQ(outcome.report, std::string(kStandardOnly) + "0");
}

TEST(Detach, EndsTheCallerWith1WhenItCannotMakeAProcess)
{
    const Outcome outcome = OutcomeOf([] {
        test::DenyCall(SYS_clone, EAGAIN, CLONE_VM); // threads and sanitizers may still use it
        beacond::Detach({gReport});
        ReportAndEnd("went on");
    });
    EXPECT_EQ(outcome.caller, 1);
    EXPECT_EQ(outcome.daemon, -1);
    EXPECT_EQ(outcome.report, "");
    EXPECT_EQ(outcome.output.out + outcome.output.err, "");
}

TEST(Detach, EndsTheChildWith1WhenItCannotMakeASession)
{
    const Outcome outcome = OutcomeOf([] {
        test::DenyCall(SYS_setsid, EPERM);
        beacond::Detach({gReport});
        ReportAndEnd("went on");
    });
    EXPECT_EQ(outcome.caller, 0);
    EXPECT_EQ(outcome.daemon, 1);
    EXPECT_EQ(outcome.report, "");
    EXPECT_EQ(outcome.output.out + outcome.output.err, "");
}

TEST(OwnDescriptors, ContainOnlyThatOfTheEventLoop)
{
    const Outcome outcome = OutcomeOf([] {
        OpenMany();
        const Started started;
        std::string targets;
        for (const int own : started.descriptors.Get()) {
            targets += Descriptors()[own];
        }
        ReportAndEnd(targets);
    });
    EXPECT_EQ(outcome.report, "anon_inode:[eventfd]");
}

TEST(OwnDescriptors, AreFoundAboveTheUsualLimit)
{
    const Outcome outcome = OutcomeOf([] {
        const rlimit more{2000, 2000};
        if (setrlimit(RLIMIT_NOFILE, &more) != 0) {
            ReportAndEnd("cannot change the limit");
        }
        for (int i = 0; i < 1100; ++i) {
            static_cast<void>(open("/dev/zero", O_RDONLY));
        }
        const Started started;
        const std::set<int> own = started.descriptors.Get();
        ReportAndEnd(own.empty() ? "none" : Descriptors()[*own.begin()]);
    });
    EXPECT_EQ(outcome.report, "anon_inode:[eventfd]");
}

TEST(OwnDescriptors, AreFoundWithoutProc)
{
    const Outcome outcome = OutcomeOf([] {
        if (unshare(CLONE_NEWNS) != 0 || mount("tmpfs", "/proc", "tmpfs", 0, nullptr) != 0) {
            ReportAndEnd("cannot cover /proc");
        }
        const Started started;
        umount("/proc");
        std::string targets;
        for (const int own : started.descriptors.Get()) {
            targets += Descriptors()[own];
        }
        ReportAndEnd(targets);
    });
    EXPECT_EQ(outcome.report, "anon_inode:[eventfd]");
}

TEST(OwnDescriptors, AreNeverStandardDescriptors)
{
    const Outcome outcome = OutcomeOf([] {
        close(0);
        close(1);
        close(2);
        const Started started;
        std::string report = DescriptorText(gReport);
        for (const int own : started.descriptors.Get()) {
            report += "own " + std::to_string(own) + "\n";
        }
        ReportAndEnd(report);
    });
    EXPECT_THAT(outcome.report, testing::StartsWith(kStandardOnly));
    EXPECT_THAT(outcome.report, HasSubstr("\nown "));
    EXPECT_THAT(outcome.report, testing::Not(testing::ContainsRegex("\nown [012]\n")));
}

TEST(OwnDescriptors, LeaveStandardDescriptorsThatAreOpenUnchanged)
{
    const Outcome outcome = OutcomeOf([] {
        const std::map<int, std::string> before = Descriptors();
        const beacond::OwnDescriptors descriptors;
        ReportAndEnd(Descriptors() == before ? "unchanged" : DescriptorText(-1));
    });
    EXPECT_EQ(outcome.report, "unchanged");
}

class DetachedEventLoop : public testing::TestWithParam<const char *>
{
protected:
    // Closes the descriptors whose numbers are these digits, before the start.
    static void CloseSome(const std::string &digits)
    {
        for (const char digit : digits) {
            close(digit - '0');
        }
    }
};

TEST_P(DetachedEventLoop, KeepsOnlyItsDescriptor)
{
    const Outcome outcome = OutcomeOf([] {
        CloseSome(GetParam());
        const Started started;
        beacond::Detach(started.Kept());
        ReportAndEnd(DescriptorText(gReport));
    });
    EXPECT_THAT(outcome.report, testing::StartsWith(kStandardOnly));
    EXPECT_THAT(outcome.report.substr(std::string(kStandardOnly).size()),
                testing::MatchesRegex("[0-9]+ anon_inode:.eventfd.\n"));
}

TEST_P(DetachedEventLoop, IsWokenByOtherThreads)
{
    const Outcome outcome = OutcomeOf([] {
        CloseSome(GetParam());
        Started started;
        beacond::Detach(started.Kept());
        std::thread waker([&started] {
            QMetaObject::invokeMethod(&started.application, &QCoreApplication::quit,
                                      Qt::QueuedConnection);
        });
        const int result = QCoreApplication::exec();
        waker.join();
        ReportAndEnd("woken " + std::to_string(result));
    });
    EXPECT_EQ(outcome.report, "woken 0");
}

TEST_P(DetachedEventLoop, IdlesWithoutUsingTheProcessor)
{
    const Outcome outcome = OutcomeOf([] {
        CloseSome(GetParam());
        Started started;
        beacond::Detach(started.Kept());
        const std::clock_t before = std::clock();
        QTimer::singleShot(200, &started.application, &QCoreApplication::quit);
        QCoreApplication::exec();
        ReportAndEnd(std::clock() - before < CLOCKS_PER_SEC / 10 ? "idle" : "busy");
    });
    EXPECT_EQ(outcome.report, "idle");
}

INSTANTIATE_TEST_SUITE_P(StartedWithout, DetachedEventLoop,
                         testing::Values("", "0", "1", "2", "012"));
