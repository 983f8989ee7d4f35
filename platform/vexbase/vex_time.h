#pragma once

#include "vexbase/vex_status.h"

#include <chrono>
#include <cstdint>

// VEXTime reads the monotonic clock. Setting the wall clock does not change it. Any
// thread may call it; it cannot fail.
class VEXTime
{
public:
    // The time since an unspecified start, in milliseconds. The value wraps to 0 after
    // 49.7 days. If it goes back, an unknown time has passed.
    [[nodiscard]] static std::uint32_t GetSystemTime()
    {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        return static_cast<std::uint32_t>(
            std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
    }

    // The end of a wait that starts now and lasts at most timeoutMs milliseconds;
    // time_point::max() for vexbase::kInfinite.
    [[nodiscard]] static std::chrono::steady_clock::time_point EndOf(unsigned int timeoutMs)
    {
        using Clock = std::chrono::steady_clock;
        return timeoutMs == vexbase::kInfinite
                   ? Clock::time_point::max()
                   : Clock::now() + std::chrono::milliseconds(timeoutMs);
    }
};
