#include "support/live_memory.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace {

thread_local std::int64_t live = 0;
thread_local std::int64_t peak = 0;

} // namespace

void *operator new(std::size_t size)
{
    void *memory = std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    live += static_cast<std::int64_t>(malloc_usable_size(memory));
    peak = std::max(peak, live);
    return memory;
}

void operator delete(void *memory) noexcept
{
    live -= static_cast<std::int64_t>(malloc_usable_size(memory));
    std::free(memory);
}

void operator delete(void *memory, std::size_t /*size*/) noexcept
{
    operator delete(memory);
}

namespace test {

std::int64_t LiveMemory()
{
    return live;
}

void StartPeak()
{
    peak = live;
}

std::int64_t PeakMemory()
{
    return peak;
}

} // namespace test
