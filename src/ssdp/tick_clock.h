#pragma once

#include <cstdint>

namespace ssdp {

// TickClock tells when a poll interval is over, from readings of a clock that
// wraps. Times are milliseconds. A pure value: the caller reads the clock.
class TickClock
{
public:
    explicit TickClock(std::uint32_t interval) : mInterval(interval) {}

    // A tick begins.
    void Start(std::uint32_t now)
    {
        mStart = now;
        mElapsed = 0;
    }

    // Whether the tick is over by now. A clock that went back (or wrapped) ends
    // it with the interval as elapsed time, rather than a huge one.
    [[nodiscard]] bool IsOver(std::uint32_t now)
    {
        if (now < mStart) {
            mElapsed = mInterval;
        } else if (now > mStart) {
            mElapsed = now - mStart;
        }
        return mElapsed >= mInterval;
    }

    // Milliseconds since the tick began, as last told to IsOver.
    [[nodiscard]] std::uint32_t Elapsed() const { return mElapsed; }

    [[nodiscard]] std::uint32_t Interval() const { return mInterval; }

private:
    std::uint32_t mInterval;
    std::uint32_t mStart = 0;
    std::uint32_t mElapsed = 0;
};

} // namespace ssdp
