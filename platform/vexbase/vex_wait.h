#pragma once

#include "vexbase/vex_status.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

// Waits until a condition holds, at most timeoutMs milliseconds (kVEXInfinite:
// for ever), and returns whether it does. REQUIRES: `held` holds the mutex that
// guards what the condition reads, and `changed` is notified when that changes.
template <typename Condition>
[[nodiscard]] bool VEXWait(std::condition_variable &changed, std::unique_lock<std::mutex> &held,
                           unsigned int timeoutMs, Condition condition)
{
    if (timeoutMs == kVEXInfinite) {
        changed.wait(held, condition);
        return true;
    }
    return changed.wait_for(held, std::chrono::milliseconds(timeoutMs), condition);
}
