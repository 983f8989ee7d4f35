#pragma once

#include "ssdp/ssdp_environment.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

// Limits to what a flood of datagrams can cause: bytes sent, and lines written. Not
// thread-safe.
namespace ssdp {

// SendBudget limits the bytes that others can make this device send: at most a burst of
// bytes, which is refilled at a number of bytes a second. nowMs is the caller's reading of a
// millisecond clock that may wrap.
class SendBudget
{
public:
    SendBudget(std::size_t burstBytes, std::size_t bytesPerSecond)
        : mBurst(burstBytes * kParts), mPartsPerMs(bytesPerSecond), mLeft(mBurst)
    {
    }

    // Adds the bytes of the time since the last call, up to the burst. A clock that
    // went back adds nothing.
    void Refill(std::uint32_t nowMs)
    {
        const auto passedMs = static_cast<std::int32_t>(nowMs - mLastMs);
        mLastMs = nowMs;
        const std::uint64_t more = mPartsPerMs * static_cast<std::uint32_t>(std::max(passedMs, 0));
        mLeft += std::min(more, mBurst - mLeft);
    }

    // Whether this number of bytes is left.
    [[nodiscard]] bool Has(std::size_t bytes) const { return bytes * kParts <= mLeft; }

    // Spends the bytes if they are left. Otherwise returns false and spends nothing.
    [[nodiscard]] bool Spend(std::size_t bytes)
    {
        if (!Has(bytes)) {
            return false;
        }
        mLeft -= bytes * kParts;
        return true;
    }

private:
    // The budget counts thousandths of a byte: N bytes a second are N thousandths a
    // millisecond, without rounding.
    static constexpr std::uint64_t kParts = 1000;

    const std::uint64_t mBurst; // in parts, as mLeft
    const std::uint64_t mPartsPerMs;
    std::uint64_t mLeft;
    std::uint32_t mLastMs = 0;
};

// BoundReport writes one line when a container is full, and the next one only after the
// container was mostly empty. Therefore a long flood does not fill a log, even if places
// become free and are taken again.
class BoundReport
{
public:
    // The line names the operation that adds to the container, and its contents, for
    // instance "SendGETRequest" and "delayed requests". REQUIRES: both texts outlive this.
    constexpr BoundReport(std::string_view operation, std::string_view contents)
        : mOperation(operation), mContents(contents)
    {
    }

    // The container is mostly empty: NoteFull writes a line again.
    void NoteMostlyEmpty() { mReported = false; }

    // The container is full.
    void NoteFull(SSDPEnvironment &environment)
    {
        if (!mReported) {
            environment.ReportFault(
                {mOperation, ": Too many ", mContents, ", dropping what comes more"});
            mReported = true;
        }
    }

private:
    std::string_view mOperation;
    std::string_view mContents;
    bool mReported = false;
};

} // namespace ssdp
