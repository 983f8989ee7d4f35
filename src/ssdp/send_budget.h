#pragma once

#include <cstddef>
#include <cstdint>

namespace ssdp {

// SendBudget limits what strangers can make this host send: so many bytes at once,
// and so many a second from then on. The caller reads the clock; nowMs is of a
// millisecond clock that may wrap. Not thread-safe.
class SendBudget
{
public:
    SendBudget(std::size_t burstBytes, std::size_t bytesPerSecond)
        : mBurst(burstBytes * kParts), mPartsPerMs(bytesPerSecond), mLeft(mBurst)
    {
    }

    // Whether so many bytes are left now. Spends nothing.
    [[nodiscard]] bool Has(std::size_t bytes, std::uint32_t nowMs)
    {
        Refill(nowMs);
        return bytes * kParts <= mLeft;
    }

    // Spends so many bytes if they are left; false, and nothing spent, if not.
    [[nodiscard]] bool Spend(std::size_t bytes, std::uint32_t nowMs)
    {
        if (!Has(bytes, nowMs)) {
            return false;
        }
        mLeft -= bytes * kParts;
        return true;
    }

private:
    // A byte counts in thousandths, so that a rate a second is whole each millisecond.
    static constexpr std::uint64_t kParts = 1000;

    // A clock that went back refills nothing.
    void Refill(std::uint32_t nowMs)
    {
        const std::uint32_t passedMs = nowMs - mLastMs;
        mLastMs = nowMs;
        if (static_cast<std::int32_t>(passedMs) > 0) {
            const std::uint64_t more = mPartsPerMs * passedMs;
            mLeft = mBurst - mLeft > more ? mLeft + more : mBurst;
        }
    }

    const std::uint64_t mBurst;
    const std::uint64_t mPartsPerMs;
    std::uint64_t mLeft;
    std::uint32_t mLastMs = 0;
};

} // namespace ssdp
