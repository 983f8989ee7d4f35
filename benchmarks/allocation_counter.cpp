#include "allocation_counter.h"

#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace {

std::atomic<std::size_t> gAllocations{0};
std::atomic<std::size_t> gLiveBytes{0};

// The bytes of the heap that an allocation uses, with the allocator's word before it.
std::size_t HeapBytes(void *memory)
{
    return memory == nullptr ? 0 : malloc_usable_size(memory) + sizeof(std::size_t);
}

} // namespace

std::size_t bench::Allocations()
{
    return gAllocations.load(std::memory_order_relaxed);
}

std::size_t bench::LiveBytes()
{
    return gLiveBytes.load(std::memory_order_relaxed);
}

void *operator new(std::size_t size)
{
    gAllocations.fetch_add(1, std::memory_order_relaxed);
    if (void *memory = std::malloc(size)) {
        gLiveBytes.fetch_add(HeapBytes(memory), std::memory_order_relaxed);
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void *memory) noexcept
{
    gLiveBytes.fetch_sub(HeapBytes(memory), std::memory_order_relaxed);
    std::free(memory);
}

void operator delete(void *memory, std::size_t /*size*/) noexcept
{
    operator delete(memory);
}
