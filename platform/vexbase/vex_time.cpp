#include "vexbase/vex_time.h"

#include "vexbase/vex_status.h"

#include <ctime>

std::uint32_t VEXTime::GetSystemTime()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint32_t>(std::uint64_t(now.tv_sec) * 1000U +
                                      std::uint64_t(now.tv_nsec) / 1'000'000U);
}

std::chrono::steady_clock::time_point VEXTime::EndOf(unsigned int timeoutMs)
{
    using Clock = std::chrono::steady_clock;
    return timeoutMs == kVEXInfinite ? Clock::time_point::max()
                                     : Clock::now() + std::chrono::milliseconds(timeoutMs);
}
