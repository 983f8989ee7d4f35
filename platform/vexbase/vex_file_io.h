#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/types.h>

namespace vexbase {

// The type and permissions of an open file (st_mode); 0 with errno set after a failure.
// fstat(2) would refuse files with a date after 2038 where time_t has 32 bits.
[[nodiscard]] mode_t FileMode(int descriptor);

} // namespace vexbase

// VEXFileIO is one regular file, open or not. Only one thread at a time may use it. The
// destructor closes the file. errno holds the system's reason after every failure.
class VEXFileIO
{
public:
    // The flags of Open. kRead | kWrite creates or empties the file, and opens it for both.
    enum OpenFlag : int {
        kRead = 8,     // for reading; the file must exist
        kWrite = 16,   // for writing; creates the file, or empties it
        kTruncate = 4, // with kWrite only; changes nothing, since kWrite empties the file
    };
    // The properties of Open: kBuffered, alone or with kNoLink.
    enum Property : int {
        kBuffered = 1, // through the page cache, not synchronised to the disk
        kNoLink = 2,   // refuses a symbolic link of this name with ELOOP
    };

    VEXFileIO() = default;
    ~VEXFileIO();
    VEXFileIO(const VEXFileIO &) = delete;
    VEXFileIO &operator=(const VEXFileIO &) = delete;

    // Opens a regular file. Returns 0, or a negative status with errno from the system or
    // one of these: EBUSY if this object has a file open already, EINVAL for other flags
    // or properties than the above and for a name that contains a NUL, EISDIR for a
    // directory and ENXIO for any other file that is not regular. Does not wait for the
    // other end of a FIFO. New files get mode 0666, narrowed by the process's file-creation
    // mask.
    [[nodiscard]] int Open(const std::string &name, int flags, int properties);

    // Writes length bytes, in several steps if the system takes fewer. Returns the number
    // of bytes written; it is less than length after an error.
    [[nodiscard]] std::uint32_t Write(const void *data, std::uint32_t length);

    // Reads length bytes from the current position. Returns the number of bytes read; it is
    // less than length at the end of the file or after an error.
    [[nodiscard]] std::uint32_t Read(void *data, std::uint32_t length);

    // The size of the open file in bytes, 0 after an error. The position is at the start
    // of the file afterwards.
    [[nodiscard]] std::uint64_t SizeBySeeking();

    // Closes the file; does nothing when none is open. Does not report errors.
    void Close();

private:
    int mDescriptor = -1; // -1: no file is open
};
