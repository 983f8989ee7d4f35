#include "ssdp/timing.h"

#include "formats/ssdp_headers.h"

#include <algorithm>
#include <limits>

namespace ssdp {

void Timing::DrawPollInterval()
{
    mPollIntervalMs = kPollIntervalBaseMs + mEnvironment.Random() % kPollIntervalSpreadMs;
}

std::uint32_t Timing::DrawExchangeDelayMs()
{
    return mEnvironment.Random() % (kExchangeSpreadTicks * mPollIntervalMs);
}

std::int32_t Timing::DrawTakeOverWaitMs()
{
    return static_cast<std::int32_t>(mEnvironment.Random() %
                                         (kTakeOverSpreadTicks * mPollIntervalMs) +
                                     kTakeOverBaseTicks * mPollIntervalMs);
}

std::uint32_t Timing::DrawAnnouncePeriodMs()
{
    return (mEnvironment.Random() % kAnnounceSpreadSeconds + kAnnounceBaseSeconds) * kMsPerSecond;
}

std::uint32_t Timing::GetMaximumAge(std::string &text)
{
    constexpr auto kLeast = static_cast<std::uint32_t>(formats::kLeastMaxAge);
    std::uint32_t seconds = formats::ReadMaximumAge(text);
    if (seconds < kLeast) {
        seconds = kLeast + mEnvironment.Random() % kLeastMaxAgeSpreadSeconds;
        text = std::to_string(seconds);
    }
    return seconds * kMsPerSecond;
}

std::int32_t RefreshedCountdownMs(std::uint32_t periodMs)
{
    return static_cast<std::int32_t>(periodMs * kPeriodsToLive);
}

std::int32_t HandBackCountdownMs(std::uint32_t periodMs)
{
    return static_cast<std::int32_t>(periodMs / kHandBackShare);
}

std::int32_t LoweredCountdownMs(std::int32_t countdownMs, std::int32_t elapsedMs)
{
    const std::int64_t left = static_cast<std::int64_t>(countdownMs) - elapsedMs;
    return static_cast<std::int32_t>(
        std::max<std::int64_t>(left, std::numeric_limits<std::int32_t>::min()));
}

} // namespace ssdp
