#include "support/live_child.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace test {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds kTimeLimit(30);

// Two connected sockets: one for the test and one for the child.
using Pair = std::array<int, 2>;

Pair MakePair()
{
    Pair ends{-1, -1};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    return ends;
}

[[noreturn]] void RunAndExit(pid_t parent, const std::array<Pair, 3> &streams,
                             const std::function<int()> &code) noexcept
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(1); // the test ended before prctl()
    }
    for (int standard = 0; standard < 3; ++standard) {
        dup2(streams[static_cast<std::size_t>(standard)][1], standard);
    }
    std::exit(code()); // NOLINT(concurrency-mt-unsafe): one thread
}

} // namespace

LiveChild::LiveChild(const std::function<int()> &code) : mParent(getpid())
{
    const std::array<Pair, 3> streams{MakePair(), MakePair(), MakePair()};
    std::fflush(nullptr);
    mChild = fork();
    if (mChild == 0) {
        RunAndExit(mParent, streams, code);
    }
    for (const Pair &pair : streams) {
        close(pair[1]);
    }
    mInput = streams[0][0];
    mOut.fd = streams[1][0];
    mErr.fd = streams[2][0];
    if (mChild < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
}

LiveChild::~LiveChild()
{
    // A child that ends normally destroys its copy of this object, too.
    if (mChild > 0 && getpid() == mParent) {
        kill(mChild, SIGKILL);
        waitpid(mChild, nullptr, 0);
    }
    for (const int fd : {mInput, mOut.fd, mErr.fd}) {
        if (fd >= 0) {
            close(fd);
        }
    }
}

void LiveChild::Send(const std::string &text)
{
    if (send(mInput, text.data(), text.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(text.size())) {
        throw std::system_error(errno, std::generic_category(), "send");
    }
}

// Uses shutdown(), because later children have inherited copies of the descriptor.
void LiveChild::CloseInput()
{
    shutdown(mInput, SHUT_WR);
}

testing::AssertionResult LiveChild::WaitForOut(const std::string &text)
{
    return WaitForText(mOut, text);
}

testing::AssertionResult LiveChild::WaitForErr(const std::string &text)
{
    return WaitForText(mErr, text);
}

int LiveChild::WaitForEnd()
{
    if (mChild < 0 || !WaitFor([this] { return mOut.fd < 0 && mErr.fd < 0; })) {
        return -1;
    }
    int status = 0;
    waitpid(mChild, &status, 0);
    mChild = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void LiveChild::Signal(int number)
{
    if (mChild > 0) {
        kill(mChild, number);
    }
}

// Reads the child's output until the condition is true, the child has closed both streams,
// or the time is over.
bool LiveChild::WaitFor(const std::function<bool()> &condition)
{
    const auto end = Clock::now() + kTimeLimit;
    while (!condition()) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0 || (mOut.fd < 0 && mErr.fd < 0)) {
            return false;
        }
        std::array<pollfd, 2> waiting{{{mOut.fd, POLLIN, 0}, {mErr.fd, POLLIN, 0}}};
        if (poll(waiting.data(), waiting.size(), static_cast<int>(left)) > 0) {
            if (waiting[0].revents != 0) {
                Read(mOut);
            }
            if (waiting[1].revents != 0) {
                Read(mErr);
            }
        }
    }
    return true;
}

testing::AssertionResult LiveChild::WaitForText(Stream &stream, const std::string &text)
{
    std::size_t at = std::string::npos;
    if (!WaitFor([&] { return (at = stream.unfound.find(text)) != std::string::npos; })) {
        return testing::AssertionFailure() << "no \"" << text << "\" in the output:\n"
                                           << mOut.all << "or the error output:\n"
                                           << mErr.all;
    }
    stream.unfound.erase(at, text.size());
    return testing::AssertionSuccess();
}

void LiveChild::Read(Stream &stream)
{
    std::array<char, 4096> buffer{};
    const ssize_t got = read(stream.fd, buffer.data(), buffer.size());
    if (got <= 0) {
        close(stream.fd);
        stream.fd = -1;
        return;
    }
    stream.all.append(buffer.data(), static_cast<std::size_t>(got));
    stream.unfound.append(buffer.data(), static_cast<std::size_t>(got));
}

int Execute(const std::vector<std::string> &command)
{
    std::vector<char *> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string &argument : command) {
        arguments.push_back(const_cast<char *>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    std::perror(arguments[0]);
    return 127;
}

} // namespace test
