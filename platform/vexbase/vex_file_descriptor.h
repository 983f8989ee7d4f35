#pragma once

#include <unistd.h>
#include <utility>

namespace vexbase {

// FileDescriptor owns one file descriptor and closes it. Not thread-safe.
class FileDescriptor
{
public:
    explicit FileDescriptor(int descriptor) : mDescriptor(descriptor) {}
    FileDescriptor(FileDescriptor &&other) noexcept
        : mDescriptor(std::exchange(other.mDescriptor, -1))
    {
    }
    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;
    FileDescriptor &operator=(FileDescriptor &&) = delete;
    ~FileDescriptor()
    {
        if (mDescriptor >= 0) {
            close(mDescriptor);
        }
    }

    [[nodiscard]] int Descriptor() const { return mDescriptor; } // negative if there is none
    // Returns the descriptor without closing it. The object then has none.
    [[nodiscard]] int Release() { return std::exchange(mDescriptor, -1); }

private:
    int mDescriptor;
};

} // namespace vexbase
