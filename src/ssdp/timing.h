#pragma once

#include "ssdp/ssdp_environment.h"
#include "ssdp/ssdp_tunables.h"

#include <cstdint>
#include <string>

namespace ssdp {

// Timing is the one place that draws the engine's random times, and keeps the
// poll interval that most of them are measured in. All times are milliseconds.
// Not thread-safe; it belongs to the protocol core.
class Timing
{
public:
    // REQUIRES: the environment outlives this.
    explicit Timing(SSDPEnvironment &environment) : mEnvironment(environment) {}

    // Draws the tick of a run of the engine.
    void DrawPollInterval();
    [[nodiscard]] std::uint32_t PollIntervalMs() const { return mPollIntervalMs; }

    // The delay of a description request or answer: 0 to three ticks.
    [[nodiscard]] std::uint32_t DrawExchangeDelayMs();
    // How long a silent device may announce itself before it is taken over.
    [[nodiscard]] std::int32_t DrawTakeOverWaitMs();
    // The time between two announcements of an own service.
    [[nodiscard]] std::uint32_t DrawAnnouncePeriodMs();
    // The milliseconds of a max-age text in decimal seconds. A text without a
    // number, or with one below 120, is first replaced by 120 to 129 seconds. At
    // most 1,073,741,000, whatever the text says.
    [[nodiscard]] std::uint32_t GetMaximumAge(std::string &text);

private:
    SSDPEnvironment &mEnvironment;
    std::uint32_t mPollIntervalMs = kPollIntervalBaseMs; // until a run draws its own
};

// The countdown of an entry that was refreshed just now, from its period.
[[nodiscard]] std::int32_t RefreshedCountdownMs(std::uint32_t periodMs);
// The countdown of an entry that was handed back to its device.
[[nodiscard]] std::int32_t HandBackCountdownMs(std::uint32_t periodMs);
// Lowers a countdown by elapsed milliseconds. It stops at the least value, so that
// an entry that is kept for weeks after it ran out does not come back to life.
[[nodiscard]] std::int32_t LoweredCountdownMs(std::int32_t countdownMs, std::int32_t elapsedMs);

} // namespace ssdp
