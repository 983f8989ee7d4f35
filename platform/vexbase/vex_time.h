#pragma once

#include <chrono>
#include <cstdint>

// VEXTime reads the system's clock for intervals.
class VEXTime
{
public:
    // Milliseconds of the monotonic clock, which no setting of the wall clock
    // moves. The value wraps to 0 after 49.7 days: a caller that sees it go back
    // must treat that as "unknown time passed". Any thread.
    [[nodiscard]] static std::uint32_t GetSystemTime();

    // When a time-out of so many milliseconds that begins now ends; time_point::max()
    // for kVEXInfinite. Any thread.
    [[nodiscard]] static std::chrono::steady_clock::time_point EndOf(unsigned int timeoutMs);
};
