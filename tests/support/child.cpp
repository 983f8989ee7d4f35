#include "support/child.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test {
namespace {

// noexcept: an exception must not return to the test runner in the child process.
[[noreturn]] void RunAndExit(const std::function<void()> &code) noexcept
{
    code();
    std::exit(testing::Test::HasFailure() ? 1 : 0); // NOLINT(concurrency-mt-unsafe): one thread
}

} // namespace

Output InChild(const std::function<void()> &code)
{
    int status = -1;
    Output output = Capture([&code, &status] {
        const pid_t child = fork();
        if (child == 0) {
            RunAndExit(code);
        }
        if (child > 0) {
            waitpid(child, &status, 0);
        }
    });
    EXPECT_EQ(status, 0) << output.out << output.err;
    return output;
}

} // namespace test
