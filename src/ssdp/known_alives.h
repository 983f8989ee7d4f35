#pragma once

#include "formats/ssdp_headers.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ssdp {

// KnownAlives keeps the bytes and the headers of announcements (ssdp:alive). A device repeats
// the same bytes every 15 to 24 s, and two thirds of the work for them would be to read their
// headers again. The bytes are compared, so Find returns what formats::ScanHeaders would.
//
// An attacker can choose texts that make this class forget other announcements. The headers of
// a forgotten announcement are read again when the device repeats it.
//
// Not thread-safe; it belongs to the protocol core.
class KnownAlives
{
public:
    KnownAlives();

    // The headers of a datagram that is kept; null if it is not. The texts and the pointer
    // are valid until the next call of another function.
    [[nodiscard]] const formats::SSDPHeaders *Find(std::string_view datagram) const;

    // Keeps a datagram, unless it is longer than kMaxKnownAliveBytes. May forget others;
    // forgets all others if `most` are kept already. REQUIRES: it is not kept.
    void Keep(std::string_view datagram, std::size_t most);

    // Forgets all if more than `most` are kept.
    void Limit(std::size_t most);

private:
    struct Alive
    {
        explicit Alive(std::string_view datagram)
            : bytes(datagram), headers(formats::ScanHeaders(bytes))
        {
        }

        std::string bytes;
        formats::SSDPHeaders headers; // with views into bytes
    };

    struct Slot
    {
        std::uint64_t hash = 0;
        std::unique_ptr<const Alive> alive;
    };

    [[nodiscard]] std::size_t SlotOf(std::uint64_t hash, std::size_t step) const
    {
        return (hash + step) & (mSlots.size() - 1);
    }

    std::size_t mCount = 0;
    std::vector<Slot> mSlots; // their number is a power of two
};

} // namespace ssdp
