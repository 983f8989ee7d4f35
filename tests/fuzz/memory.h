#pragma once

#include "check.h"

#include <cstddef>
#include <sanitizer/allocator_interface.h>

// What a call costs in memory: the sanitizer calls a hook at each allocation.

inline thread_local std::size_t t_allocated = 0; // bytes, since the start

inline void CountAllocation(const volatile void * /*block*/, std::size_t size)
{
    t_allocated += size;
}

inline void IgnoreRelease(const volatile void * /*block*/) {} // the hooks are set in pairs

// MemoryCount counts the memory of the calls since its construction, in bytes. Belongs to one
// thread.
class MemoryCount
{
public:
    MemoryCount()
    {
        static const int installed =
            __sanitizer_install_malloc_and_free_hooks(CountAllocation, IgnoreRelease);
        FUZZ_CHECK(installed != 0);
        mAllocated = t_allocated;
    }

    // All bytes that were allocated, even if they were freed. The calls never had more than
    // that in use. Unlike the bytes in use, this number also grows if a text is copied again and
    // again.
    [[nodiscard]] std::size_t Allocated() const { return t_allocated - mAllocated; }

    // The bytes that are in use now, and were not at the construction.
    [[nodiscard]] std::size_t Kept() const
    {
        const std::size_t used = __sanitizer_get_current_allocated_bytes();
        return used > mUsed ? used - mUsed : 0;
    }

private:
    std::size_t mAllocated = 0;
    const std::size_t mUsed = __sanitizer_get_current_allocated_bytes();
};
