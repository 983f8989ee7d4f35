#pragma once

#include <cstddef>
#include <malloc.h>

namespace test {

// The number of bytes that all threads have allocated. 0 under a sanitizer, which has an allocator
// of its own.
[[nodiscard]] inline std::size_t Allocated()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

} // namespace test
