#include "vexbase/vex_file_io.h"

#include "vexbase/vex_status.h"
#include "vexbase/vex_thread.h"

#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The system's default for new files, before the file-creation mask.
constexpr mode_t kNewFileMode = 0666;

// Converts the flags of Open to flags of open(2). Nothing for an invalid combination.
std::optional<int> SystemFlags(int flags)
{
    switch (flags) {
    case VEXFileIO::kRead:
        return O_RDONLY;
    case VEXFileIO::kWrite:
    case VEXFileIO::kWrite | VEXFileIO::kTruncate:
        return O_WRONLY | O_CREAT | O_TRUNC;
    case VEXFileIO::kRead | VEXFileIO::kWrite:
    case VEXFileIO::kRead | VEXFileIO::kWrite | VEXFileIO::kTruncate:
        return O_RDWR | O_CREAT | O_TRUNC;
    default:
        return std::nullopt;
    }
}

int LinkFlag(int properties)
{
    return (properties & VEXFileIO::kNoLink) != 0 ? O_NOFOLLOW : 0;
}

int Fail(int error)
{
    errno = error;
    return vexbase::kFailure;
}

// 0 for a regular file, otherwise the value for errno.
int RegularFileError(int descriptor)
{
    const mode_t mode = vexbase::FileMode(descriptor);
    if (mode == 0) {
        return errno;
    }
    if (S_ISDIR(mode)) {
        return EISDIR;
    }
    return S_ISREG(mode) ? 0 : ENXIO;
}

// Calls transfer(offset, rest) until all bytes are transferred, it fails, or it
// transfers nothing. A call that a signal interrupted is repeated.
template <typename Transfer>
std::uint32_t TransferAll(std::uint32_t length, Transfer transfer)
{
    std::uint32_t done = 0;
    while (done < length) {
        const ssize_t count = transfer(done, length - done);
        if (count > 0) {
            done += static_cast<std::uint32_t>(count);
        } else if (count == 0 || errno != EINTR) {
            break;
        }
    }
    return done;
}

} // namespace

mode_t vexbase::FileMode(int descriptor)
{
    struct statx status = {};
    return statx(descriptor, "", AT_EMPTY_PATH, STATX_TYPE | STATX_MODE, &status) == 0
               ? status.stx_mode
               : 0;
}

VEXFileIO::~VEXFileIO()
{
    Close();
}

int VEXFileIO::Open(const std::string &name, int flags, int properties)
{
    if (mDescriptor >= 0) {
        return Fail(EBUSY);
    }
    const std::optional<int> systemFlags = SystemFlags(flags);
    if (!systemFlags || (properties & ~kNoLink) != kBuffered ||
        name.find('\0') != std::string::npos) {
        return Fail(EINVAL);
    }
    // Without O_NONBLOCK, opening a FIFO would wait for its other end.
    mDescriptor =
        open(name.c_str(), *systemFlags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | LinkFlag(properties),
             kNewFileMode);
    if (mDescriptor < 0) {
        return vexbase::kFailure;
    }
    if (const int error = RegularFileError(mDescriptor)) {
        Close();
        return Fail(error);
    }
    return vexbase::kSuccess;
}

std::uint32_t VEXFileIO::Write(const void *data, std::uint32_t length)
{
    const auto *bytes = static_cast<const char *>(data);
    return TransferAll(length, [&](std::uint32_t offset, std::uint32_t left) {
        return write(mDescriptor, bytes + offset, left);
    });
}

std::uint32_t VEXFileIO::Read(void *data, std::uint32_t length)
{
    auto *bytes = static_cast<char *>(data);
    return TransferAll(length, [&](std::uint32_t offset, std::uint32_t left) {
        return read(mDescriptor, bytes + offset, left);
    });
}

std::uint64_t VEXFileIO::SizeBySeeking()
{
    const off_t size = lseek(mDescriptor, 0, SEEK_END);
    if (size < 0 || lseek(mDescriptor, 0, SEEK_SET) < 0) {
        return 0;
    }
    return static_cast<std::uint64_t>(size);
}

void VEXFileIO::Close()
{
    if (mDescriptor >= 0) {
        const vexbase::NoCancellation whole;
        close(mDescriptor);
        mDescriptor = -1;
    }
}
