#pragma once

#include <unistd.h>
#include <utility>

namespace configd {

// Owns one file descriptor and closes it.
class Descriptor
{
public:
    explicit Descriptor(int number) : mNumber(number) {}
    Descriptor(Descriptor &&other) noexcept : mNumber(std::exchange(other.mNumber, -1)) {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    Descriptor &operator=(Descriptor &&) = delete;
    ~Descriptor()
    {
        if (mNumber >= 0) {
            close(mNumber);
        }
    }

    [[nodiscard]] int Number() const { return mNumber; } // negative: none
    [[nodiscard]] int Release() { return std::exchange(mNumber, -1); }

private:
    int mNumber;
};

} // namespace configd
