#include "vexbase/vex_output.h"

#include "vexbase/vex_file_io.h"
#include "vexbase/vex_lock.h"
#include "vexbase/vex_text.h"
#include "vexbase/vex_thread.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <ctime>
#include <fcntl.h>
#include <new>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vexbase {
namespace {

// Blocks, for the length of a scope, the signals that a write can raise: SIGPIPE (no
// reader), SIGXFSZ (file too large) and SIGTTOU (terminal of another process group).
// At the end it discards those that were raised meanwhile.
class NoWriteSignals
{
public:
    NoWriteSignals()
    {
        sigset_t pending{};
        sigpending(&pending);
        sigset_t blocked{};
        sigemptyset(&blocked);
        sigemptyset(&mRaisedHere);
        for (const int number : {SIGPIPE, SIGXFSZ, SIGTTOU}) {
            sigaddset(&blocked, number);
            if (sigismember(&pending, number) == 0) {
                sigaddset(&mRaisedHere, number);
            }
        }
        pthread_sigmask(SIG_BLOCK, &blocked, &mFormer);
    }
    ~NoWriteSignals()
    {
        constexpr timespec kNow{};
        while (sigtimedwait(&mRaisedHere, nullptr, &kNow) > 0 || errno == EINTR) {
        }
        pthread_sigmask(SIG_SETMASK, &mFormer, nullptr);
    }
    NoWriteSignals(const NoWriteSignals &) = delete;
    NoWriteSignals &operator=(const NoWriteSignals &) = delete;

private:
    sigset_t mRaisedHere{};
    sigset_t mFormer{};
};

struct Stream
{
    int descriptor;
    const char *path; // opens the descriptor's file again
    std::uint64_t lost = 0;
    bool inLine = false; // the last byte written was not a newline
};

// Writes to a pipe or a device through a new file description: O_NONBLOCK on the
// inherited one would affect all processes that share it. Without /proc, or without the
// right to open the file, the inherited one is used. If poll() reports room there, a write
// of PIPE_BUF bytes does not wait, unless another process fills the pipe in between.
ssize_t WriteToReader(const Stream &stream, std::string_view text)
{
    const int own = open(stream.path, O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (own >= 0) {
        const ssize_t written = write(own, text.data(), text.size());
        close(own);
        return written;
    }
    pollfd room{stream.descriptor, POLLOUT, 0};
    if (poll(&room, 1, 0) <= 0 || (room.revents & POLLOUT) == 0) {
        return -1;
    }
    return write(stream.descriptor, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
}

// Like write(2), but without waiting. Asks for the kind of file each time, because
// detaching replaces the descriptors.
ssize_t WriteNow(const Stream &stream, std::string_view text)
{
    const mode_t mode = FileMode(stream.descriptor);
    if (mode == 0) {
        return -1;
    }
    if (S_ISSOCK(mode)) {
        return send(stream.descriptor, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    }
    const NoWriteSignals quiet;
    if (S_ISFIFO(mode) || S_ISCHR(mode)) {
        return WriteToReader(stream, text);
    }
    return write(stream.descriptor, text.data(), text.size());
}

// The text to write before the next line: a newline if the last line was cut, and the
// number of lost lines.
std::string Preface(const Stream &stream)
{
    std::string text = stream.inLine ? "\n" : "";
    if (stream.lost > 0) {
        const std::string notice =
            "Lines lost: " + std::to_string(stream.lost) + " (no room, or no reader)\n";
        text += notice;
    }
    return text;
}

void WriteLine(Stream &stream, std::initializer_list<std::string_view> pieces)
{
    std::string text = Preface(stream);
    const std::size_t preface = text.size();
    Append(text, pieces);
    text += '\n';
    const ssize_t result = WriteNow(stream, text);
    const std::size_t written = result < 0 ? 0 : static_cast<std::size_t>(result);
    if (written >= preface) {
        stream.lost = 0;
    }
    if (written > 0) {
        stream.inLine = text[written - 1] != '\n';
    }
    if (written < text.size()) {
        ++stream.lost;
    }
}

void WriteLineOrCount(Stream &stream, std::initializer_list<std::string_view> pieces)
{
    const NoCancellation whole;
    try {
        WriteLine(stream, pieces);
    } catch (const std::bad_alloc &) {
        ++stream.lost;
    }
}

// Trivially destructible, because threads may still write while the process exits.
VEXLock gLock;
Stream gProgress VEX_GUARDED_BY(gLock){STDOUT_FILENO, "/proc/self/fd/1"};
Stream gFaults VEX_GUARDED_BY(gLock){STDERR_FILENO, "/proc/self/fd/2"};

} // namespace

void WriteFault(std::initializer_list<std::string_view> pieces)
{
    const LockGuard hold(gLock);
    WriteLineOrCount(gFaults, pieces);
}

void WriteProgress(std::initializer_list<std::string_view> pieces)
{
    const LockGuard hold(gLock);
    WriteLineOrCount(gProgress, pieces);
}

} // namespace vexbase
