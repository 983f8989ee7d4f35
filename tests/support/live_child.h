#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/types.h>
#include <vector>

namespace test {

// LiveChild is a process that runs beside the test: a copy of it that runs some
// code, its standard streams connected to the test. It ends with its object, and
// with the test, whichever way that ends. All waiting gives up after a generous
// time.
class LiveChild
{
public:
    // Runs code in the child, whose exit status is what code returns.
    // REQUIRES: no other thread runs.
    explicit LiveChild(const std::function<int()> &code);
    ~LiveChild();
    LiveChild(const LiveChild &) = delete;
    LiveChild &operator=(const LiveChild &) = delete;

    // Gives the child something to read.
    void Send(const std::string &text);
    // Lets the child read the end of its input.
    void CloseInput();

    // Wait for a text in the child's output (or error output) that no earlier
    // wait has found. A failure, which tells what did come, when it does not.
    [[nodiscard]] testing::AssertionResult WaitForOut(const std::string &text);
    [[nodiscard]] testing::AssertionResult WaitForErr(const std::string &text);

    // Waits, once, for the child's end. Its exit status, 128 and the signal's
    // number if a signal ended it, -1 if it does not end.
    [[nodiscard]] int WaitForEnd();
    void Signal(int number);

    // All that the child has written and a wait has seen.
    [[nodiscard]] const std::string &Out() const { return mOut.all; }
    [[nodiscard]] const std::string &Err() const { return mErr.all; }

private:
    struct Stream
    {
        int fd = -1;
        std::string all;
        std::string unfound; // all less the texts that waits have found
    };

    bool WaitFor(const std::function<bool()> &condition);
    testing::AssertionResult WaitForText(Stream &stream, const std::string &text);
    static void Read(Stream &stream);

    pid_t mParent;
    pid_t mChild = -1;
    int mInput = -1;
    Stream mOut;
    Stream mErr;
};

// Turns this process into a program found on the path. Returns 127 if that fails.
[[nodiscard]] int Execute(const std::vector<std::string> &command);

} // namespace test
