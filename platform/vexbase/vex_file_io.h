#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// VEXFileIO is one open file. It is owned by one thread at a time; the
// destructor closes the file.
class VEXFileIO
{
public:
    // Creation flags of Open. kRead | kWrite opens an emptied file for both.
    enum OpenFlag : int {
        kRead = 8,     // existing file, for reading
        kWrite = 16,   // for writing; makes a missing file, empties an existing one
        kTruncate = 4, // with kWrite: says the emptying out loud, changes nothing
    };
    // Properties of Open: kBuffered, alone or with kNoLink.
    enum Property : int {
        kBuffered = 1, // through the page cache, not synchronised to the medium
        kNoLink = 2,   // a symbolic link in the place of the file is refused (ELOOP)
    };

    VEXFileIO() = default;
    ~VEXFileIO();
    VEXFileIO(const VEXFileIO &) = delete;
    VEXFileIO &operator=(const VEXFileIO &) = delete;

    // Opens a regular file. Returns 0, or a negative status with errno as the
    // system left it (EBUSY when this object has a file open already, EINVAL for
    // flags or properties not named above or for a name with a NUL in it, ENXIO
    // or EISDIR for what is no regular file). Never waits for a peer, as opening
    // a FIFO would. New files get mode 0666 less the process's
    // file-creation mask.
    [[nodiscard]] int Open(const std::string &name, int flags, int properties);

    // Writes length bytes, going on after short writes and interrupts. Returns
    // the bytes written: fewer than length, down to 0, after an error, which
    // errno tells.
    [[nodiscard]] std::uint32_t Write(const void *data, std::uint32_t length);

    // Reads at most length bytes from the current position. Returns the bytes
    // read: fewer than length at the end of the file or after an error.
    [[nodiscard]] std::uint32_t Read(void *data, std::uint32_t length);

    // Size of the open file in bytes, 0 when it cannot be told. The position
    // moves to the end and back to the start of the file.
    [[nodiscard]] std::uint64_t SizeBySeeking();

    // Closes the file; does nothing when none is open.
    void Close();

private:
    int mDescriptor = -1;
};
