#include "main/detach.h"

#include "vexbase/vex_output.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <iterator>
#include <limits>
#include <memory>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace beacond {
namespace {

void FillStandardDescriptors()
{
    int descriptor = -1;
    do {
        descriptor = open("/dev/null", O_RDWR);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    close(descriptor); // -1, which closes nothing, if /dev/null cannot be opened
}

// Without /proc: tests each number below the usual limit of 1024 descriptors.
std::set<int> ProbeDescriptors()
{
    constexpr int kProbed = 1024;
    std::set<int> open;
    for (int descriptor = 0; descriptor < kProbed; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) != -1) {
            open.insert(descriptor);
        }
    }
    return open;
}

std::set<int> OpenDescriptors()
{
    const std::unique_ptr<DIR, int (*)(DIR *)> folder(opendir("/proc/self/fd"), closedir);
    if (!folder) {
        return ProbeDescriptors();
    }
    std::set<int> open;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the process has only one thread
    while (const dirent *entry = readdir(folder.get())) {
        // "." and ".." are read as 0: standard input, which is open in any case.
        open.insert(static_cast<int>(std::strtol(entry->d_name, nullptr, 10)));
    }
    open.erase(dirfd(folder.get()));
    return open;
}

// Closes descriptors one by one up to the limit, for kernels without close_range(2).
void CloseByLoop(const std::set<int> &keep)
{
    for (int descriptor = 0; descriptor < getdtablesize(); ++descriptor) {
        if (keep.count(descriptor) == 0) {
            close(descriptor);
        }
    }
}

// Closes all descriptors from first to last, inclusive. Returns false if the kernel has no
// close_range(2).
bool CloseRange(unsigned int first, unsigned int last)
{
    return syscall(SYS_close_range, first, last, 0U) == 0;
}

// Closes each gap between two descriptors to keep by one call: in some containers the limit is a
// billion, and a loop would take minutes. Returns false if the kernel has no close_range(2).
bool CloseGaps(const std::set<int> &keep)
{
    unsigned int first = 0;
    for (const int kept : keep) {
        const auto number = static_cast<unsigned int>(kept);
        if (number > first && !CloseRange(first, number - 1)) {
            return false;
        }
        first = number + 1;
    }
    return CloseRange(first, std::numeric_limits<unsigned int>::max());
}

void CloseAllExcept(const std::set<int> &keep)
{
    if (!CloseGaps(keep)) {
        CloseByLoop(keep);
    }
}

// Opens 0, 1 and 2 on /dev/null. The first dup() returns 1 on a normal start, and the
// second is not tested: both lines are always written. They are never visible, because
// standard error is closed or /dev/null by then.
void OpenStandardDescriptors()
{
    const int null = open("/dev/null", O_RDWR);
    if (dup(null) != 0) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): the process has only one thread
        std::fprintf(stderr, "%s: cannot dup stdout to /dev/null: %s", "main", strerror(errno));
    }
    [[maybe_unused]] const int second = dup(null);
    // NOLINTNEXTLINE(concurrency-mt-unsafe)
    std::fprintf(stderr, "%s: cannot dup stderr to /dev/null: %s", "main", strerror(errno));
}

} // namespace

bool ReadOptions(int argc, char **argv, bool &daemonize)
{
    int option = 0;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the process has only one thread
    while ((option = getopt(argc, argv, "d")) != -1) {
        if (option != 'd') {
            const char letter = static_cast<char>(option);
            vexbase::WriteProgress({argv[0], ": Unknown option \"", {&letter, 1}, "\""});
            vexbase::WriteProgress({"Possible options:\n  -d: debug (don't daemonize)"});
            return false;
        }
        daemonize = false;
    }
    return true;
}

OwnDescriptors::OwnDescriptors()
{
    FillStandardDescriptors();
    mBefore = OpenDescriptors();
}

void OwnDescriptors::NoteOpened()
{
    const std::set<int> now = OpenDescriptors();
    std::set_difference(now.begin(), now.end(), mBefore.begin(), mBefore.end(),
                        std::inserter(mOwn, mOwn.end()));
}

void Detach(const std::set<int> &keep)
{
    const pid_t child = fork();
    // NOLINTBEGIN(concurrency-mt-unsafe): the process has only one thread
    if (child < 0) {
        exit(1);
    }
    if (child != 0) {
        exit(0);
    }
    if (setsid() < 0) {
        exit(1);
    }
    // NOLINTEND(concurrency-mt-unsafe)
    CloseAllExcept(keep);
    OpenStandardDescriptors();
    umask(027);
}

} // namespace beacond
