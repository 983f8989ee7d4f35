#pragma once

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace test {

// Replaces a standard stream by a full pipe that nobody reads. A plain write to it blocks. The
// lines of vexbase/vex_output.h are lost instead, since they do not wait for a reader.
class BlockedOutput
{
public:
    // STDOUT_FILENO or STDERR_FILENO.
    explicit BlockedOutput(int stream) : mStream(stream), mSaved(dup(stream))
    {
        if (mSaved < 0 || pipe2(mPipe.data(), O_NONBLOCK | O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "blocked output");
        }
        while (write(mPipe[1], "x", 1) == 1) {
        }
        fcntl(mPipe[1], F_SETFL, 0);
        dup2(mPipe[1], mStream);
        close(mPipe[1]);
    }
    // REQUIRES: no thread is blocked in a write to the pipe.
    ~BlockedOutput()
    {
        End();
        close(mPipe[0]);
    }
    BlockedOutput(const BlockedOutput &) = delete;
    BlockedOutput &operator=(const BlockedOutput &) = delete;

    // Restores the stream and empties the pipe, which unblocks threads that write to it.
    void End()
    {
        if (mSaved < 0) {
            return;
        }
        dup2(mSaved, mStream);
        close(mSaved);
        mSaved = -1;
        std::array<char, 65536> buffer{};
        while (read(mPipe[0], buffer.data(), buffer.size()) > 0) {
        }
    }

private:
    int mStream;
    int mSaved;
    std::array<int, 2> mPipe{};
};

} // namespace test
