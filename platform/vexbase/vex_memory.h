#pragma once

#include <malloc.h>

// The heap of the process, if its C library is glibc; otherwise these functions do nothing.
namespace vexbase {

// Makes all threads share one heap. By default glibc gives each thread a heap of its own, and
// ReturnFreeMemory does not return the free end of such a heap. Call this function before the
// first thread starts.
inline void ShareOneHeap()
{
#ifdef __GLIBC__
    mallopt(M_ARENA_MAX, 1); // NOLINT(concurrency-mt-unsafe): no other thread runs yet
#endif
}

// Returns the free pages of the heap to the system; all of them only if ShareOneHeap was
// called. Call this function after megabytes were freed at once: the C library would keep
// their pages for later use. Other threads cannot allocate meanwhile. Any thread.
inline void ReturnFreeMemory()
{
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

} // namespace vexbase
