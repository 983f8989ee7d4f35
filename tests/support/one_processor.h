#pragma once

#include <sched.h>

namespace test {

// Keeps this thread, and threads that it starts, on one processor for the length of a
// scope. Each processor has a queue of arriving packets. On one processor, the datagrams of
// all threads and hosts of this program arrive in the order in which they were sent.
class OneProcessor
{
public:
    OneProcessor()
    {
        sched_getaffinity(0, sizeof mFormer, &mFormer);
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(sched_getcpu(), &one);
        sched_setaffinity(0, sizeof one, &one);
    }
    ~OneProcessor() { sched_setaffinity(0, sizeof mFormer, &mFormer); }
    OneProcessor(const OneProcessor &) = delete;
    OneProcessor &operator=(const OneProcessor &) = delete;

private:
    cpu_set_t mFormer{};
};

} // namespace test
