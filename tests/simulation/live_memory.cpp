#include "simulation/live_memory.h"

#include <cstddef>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace {

thread_local std::int64_t live = 0;

} // namespace

void *operator new(std::size_t size)
{
    void *memory = std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    live += static_cast<std::int64_t>(malloc_usable_size(memory));
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

namespace simulation {

std::int64_t LiveMemory()
{
    return live;
}

} // namespace simulation
