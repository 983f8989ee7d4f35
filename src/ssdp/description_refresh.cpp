#include "ssdp/description_refresh.h"

#include "ssdp/ssdp_tunables.h"

#include <utility>

namespace ssdp {

void DescriptionRefresh::SetTime(std::uint32_t nowMs)
{
    mClockMs += nowMs - mNowMs; // modulo 2^32, so a wrap does no harm
    mNowMs = nowMs;
}

std::uint32_t DescriptionRefresh::NowSeconds() const
{
    return static_cast<std::uint32_t>(mClockMs / kMsPerSecond);
}

bool DescriptionRefresh::IsNext(std::uint32_t describedSeconds) const
{
    return NowSeconds() - describedSeconds > kDescriptionMaxAgeSeconds &&
           (!mNext || describedSeconds < mNext->describedSeconds);
}

void DescriptionRefresh::SetNext(const formats::NTSHeader &header, std::uint32_t describedSeconds)
{
    mNext = {std::string(header.usn), std::string(header.location), header.sender,
             describedSeconds};
}

std::optional<DescriptionRefresh::Peer> DescriptionRefresh::TakeNext()
{
    if (!mNext || mClockMs - mAskedMs < kRefreshPauseMs) {
        return std::nullopt;
    }
    mAskedMs = mClockMs;
    return std::exchange(mNext, std::nullopt);
}

} // namespace ssdp
