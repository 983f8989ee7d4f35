#include "beaconctl/standard_streams.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr int kForever = -1;

bool ReportWriteError(int number)
{
    // NOLINTNEXTLINE(concurrency-mt-unsafe): a program of one thread
    std::cerr << "beaconctl: cannot write: " << strerror(number) << '\n';
    return false;
}

} // namespace

void OccupyClosedStreams()
{
    int descriptor = 0;
    do {
        descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0) {
        close(descriptor);
    }
}

bool WriteOutput(std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) { // a program that shares the stream made it so
            pollfd output{STDOUT_FILENO, POLLOUT, 0};
            poll(&output, 1, kForever);
        } else if (errno != EINTR) {
            return ReportWriteError(errno);
        }
    }
    return true;
}

bool WaitWhileOutputIsRead(int milliseconds)
{
    pollfd output{STDOUT_FILENO, 0, 0}; // errors are reported unasked
    if (poll(&output, 1, milliseconds) <= 0) {
        return true;
    }
    raise(SIGPIPE); // as a write would
    return ReportWriteError(EPIPE);
}

void WriteError(const std::string &text)
{
    std::cerr << "beaconctl: " << text << '\n';
}
