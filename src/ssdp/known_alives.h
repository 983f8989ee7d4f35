#pragma once

#include "formats/ssdp_headers.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ssdp {

// How many announcements to keep for that many known devices. A few more than there are devices:
// a device that returns, or changes its announcement, takes no place from the others.
[[nodiscard]] constexpr std::size_t MostKnownAlives(std::size_t devices)
{
    constexpr std::size_t kSpare = 16;
    return devices + devices / 8 + kSpare;
}

// KnownAlives keeps the bytes and the headers of announcements (ssdp:alive). A device repeats
// the same bytes at least every 24 s, and two thirds of the work for them would be to read their
// headers again. The bytes are compared, so Find returns what formats::ScanHeaders would, except
// for the sender.
//
// The hash that finds an announcement has no key, because it must be fast. An attacker can
// choose texts that make this class forget other announcements, whose headers are then read
// again.
//
// Not thread-safe; it belongs to the protocol core.
class KnownAlives
{
public:
    KnownAlives();

    // The headers of a datagram that is kept; null if it is not. Their sender is that of the
    // kept datagram. The texts and the pointer are valid until the next call of another function.
    [[nodiscard]] const formats::SSDPHeaders *Find(std::string_view datagram) const;

    // Keeps a datagram and its headers, unless it is longer than kMaxKnownAliveBytes. Forgets
    // another one if `most` are kept already, or if there is no free slot near its hash.
    // REQUIRES: it is not kept; the texts of the headers are views into it; most > 0.
    void Keep(std::string_view datagram, const formats::SSDPHeaders &headers, std::size_t most);

    // Forgets datagrams until at most `most` are kept, and frees memory.
    void Limit(std::size_t most);

private:
    struct Alive
    {
        Alive(std::string_view datagram, const formats::SSDPHeaders &headersOfDatagram);
        Alive(const Alive &) = delete;
        Alive &operator=(const Alive &) = delete;

        [[nodiscard]] bool Has(std::string_view datagram) const
        {
            return std::equal(bytes.begin(), bytes.end(), datagram.begin(), datagram.end());
        }

        std::string bytes;
        formats::SSDPHeaders headers; // with views into bytes
    };

    struct Slot
    {
        std::uint64_t hash = 0; // of the present entry or a former one; 0: there was none
        std::unique_ptr<const Alive> alive;
    };

    [[nodiscard]] std::size_t SlotOf(std::uint64_t hash, std::size_t step) const
    {
        return static_cast<std::size_t>(hash + step) & (mSlots.size() - 1);
    }
    void Put(Slot entry);
    void ForgetNext();
    void Resize(std::size_t slots);

    std::size_t mCount = 0;
    // The search for the next one to forget begins after this slot. Any start would do.
    std::size_t mForgotten{};
    std::vector<Slot> mSlots; // their number is a power of two
};

} // namespace ssdp
