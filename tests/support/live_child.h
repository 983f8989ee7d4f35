#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/types.h>
#include <vector>

namespace test {

// LiveChild is a child process that runs some code at the same time as the test. It starts as
// a copy of the test process; its standard streams are connected to the test. It is killed
// when this object is destroyed or the test process ends. All waits end after a generous time.
class LiveChild
{
public:
    // Runs code in the child. The result of code is the child's exit status.
    // REQUIRES: no other thread runs.
    explicit LiveChild(const std::function<int()> &code);
    ~LiveChild();
    LiveChild(const LiveChild &) = delete;
    LiveChild &operator=(const LiveChild &) = delete;

    // Writes a text to the child's standard input.
    void Send(const std::string &text);
    // Closes the child's standard input.
    void CloseInput();

    // Wait for a text in the child's output or error output. Each occurrence is found once. If
    // the text does not appear, the result is a failure that shows the output.
    [[nodiscard]] testing::AssertionResult WaitForOut(const std::string &text);
    [[nodiscard]] testing::AssertionResult WaitForErr(const std::string &text);

    // Waits for the child's end. Returns its exit status, 128 plus the number of the signal
    // that ended it, or -1 if it does not end in time. REQUIRES: called once.
    [[nodiscard]] int WaitForEnd();
    void Signal(int number);

    // All output of the child that the waits have read.
    [[nodiscard]] const std::string &Out() const { return mOut.all; }
    [[nodiscard]] const std::string &Err() const { return mErr.all; }

private:
    struct Stream
    {
        int fd = -1;
        std::string all;
        std::string unfound; // all without the texts that were found
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

// Replaces this process by a program on the path. Returns 127 if that fails.
[[nodiscard]] int Execute(const std::vector<std::string> &command);

} // namespace test
