#pragma once

#include "ssdp/ssdp_environment.h"
#include "ssdp/ssdp_tunables.h"

#include <cstdint>
#include <string>

namespace ssdp {

// Timing draws all random times of the engine, and keeps the poll interval, which is
// the unit of two of them. All times are in milliseconds. Not thread-safe; it belongs
// to the protocol core.
class Timing
{
public:
    // REQUIRES: the environment outlives this.
    explicit Timing(SSDPEnvironment &environment) : mEnvironment(environment) {}

    // Draws the poll interval, which is the tick of one run of the engine.
    void DrawPollInterval();
    [[nodiscard]] std::uint32_t PollIntervalMs() const { return mPollIntervalMs; }

    // The delay of a description request or answer: 0 to three ticks.
    [[nodiscard]] std::uint32_t DrawExchangeDelayMs();
    // How long a device that can be proxied may stay silent before an addition takes it over.
    [[nodiscard]] std::int32_t DrawTakeOverWaitMs();
    // The announcement period of a service (kAnnounceBaseSeconds).
    [[nodiscard]] std::uint32_t DrawAnnouncePeriodMs();
    // The milliseconds of a max-age text in decimal seconds, at most 1,073,741,000. A
    // text without a number, or with less than 120, is replaced by 120 to 129 first.
    [[nodiscard]] std::uint32_t GetMaximumAge(std::string &text);

private:
    SSDPEnvironment &mEnvironment;
    std::uint32_t mPollIntervalMs = kPollIntervalBaseMs; // until DrawPollInterval
};

// The countdown of an entry that was refreshed just now, from its period.
[[nodiscard]] std::int32_t RefreshedCountdownMs(std::uint32_t periodMs);
// The countdown of an entry that was handed back to its device.
[[nodiscard]] std::int32_t HandBackCountdownMs(std::uint32_t periodMs);
// A countdown after elapsed milliseconds. It stops at the least value: an entry that
// is kept for weeks after it ran out must not wrap to a positive countdown.
[[nodiscard]] std::int32_t LoweredCountdownMs(std::int32_t countdownMs, std::int32_t elapsedMs);

// TickClock measures a tick from readings of a millisecond clock that wraps. The
// caller reads the clock. Not thread-safe; it belongs to the SSDP thread.
class TickClock
{
public:
    // Begins a tick.
    void Start(std::uint32_t nowMs)
    {
        mStartMs = nowMs;
        mElapsedMs = 0;
    }

    // Takes a reading of the clock. If the clock went back (or wrapped), the elapsed
    // time is unknown: it becomes the interval, which ends the tick.
    void Update(std::uint32_t nowMs, std::uint32_t intervalMs)
    {
        if (nowMs < mStartMs) {
            mElapsedMs = intervalMs;
        } else if (nowMs > mStartMs) {
            mElapsedMs = nowMs - mStartMs;
        }
    }

    // Milliseconds from the start of the tick to the last reading.
    [[nodiscard]] std::uint32_t ElapsedMs() const { return mElapsedMs; }
    // Whether the interval has passed at the last reading.
    [[nodiscard]] bool IsOver(std::uint32_t intervalMs) const { return mElapsedMs >= intervalMs; }

private:
    std::uint32_t mStartMs = 0;
    std::uint32_t mElapsedMs = 0;
};

} // namespace ssdp
