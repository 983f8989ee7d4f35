#pragma once

#include <cstdint>

namespace ssdp {

// TickClock tells when a tick is over, from readings of a millisecond clock that
// wraps. A pure value: the caller reads the clock.
class TickClock
{
public:
    // A tick begins.
    void Start(std::uint32_t nowMs)
    {
        mStartMs = nowMs;
        mElapsedMs = 0;
    }

    // Notes the time. A clock that went back (or wrapped) ends the tick with the
    // interval as elapsed time, not with a huge one.
    void Note(std::uint32_t nowMs, std::uint32_t intervalMs)
    {
        if (nowMs < mStartMs) {
            mElapsedMs = intervalMs;
        } else if (nowMs > mStartMs) {
            mElapsedMs = nowMs - mStartMs;
        }
    }

    // Milliseconds since the tick began, as noted last.
    [[nodiscard]] std::uint32_t ElapsedMs() const { return mElapsedMs; }

private:
    std::uint32_t mStartMs = 0;
    std::uint32_t mElapsedMs = 0;
};

} // namespace ssdp
