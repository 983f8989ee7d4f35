#pragma once

#include <cstddef>
#include <fstream>
#include <malloc.h>
#include <unistd.h>

namespace test {

// The number of bytes that all threads have allocated. 0 under a sanitizer, which has an allocator
// of its own.
[[nodiscard]] inline std::size_t Allocated()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

// The memory of this process that is not swapped out, in bytes. The kernel's number can be some
// pages too small or too large: statm in proc(5).
[[nodiscard]] inline std::size_t ResidentBytes()
{
    std::size_t all = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/self/statm") >> all >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

} // namespace test
