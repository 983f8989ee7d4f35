#pragma once

#include "formats/ssdp_device_type.h"
#include "ssdp/keyed_hash.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace ssdp {

// UsnIndex finds records of an SSDPDeviceMap by their USN: a hash table with
// open addressing and linear probing, since a table of linked nodes costs two
// more cache misses for each device that is heard. The hash has a key that nobody
// outside knows, so that no choice of names makes it slow. Not thread-safe.
class UsnIndex
{
public:
    using Record = SSDPDeviceMap::iterator;

    UsnIndex();

    // The record of a USN; null when there is none. The pointer is good until
    // the index changes.
    [[nodiscard]] const Record *Find(std::string_view usn) const;
    // Enters a record. REQUIRES: no record of that USN is in the index.
    void Insert(Record record);
    // Takes a record out. REQUIRES: it is in the index.
    void Erase(Record record);
    void Clear();

private:
    struct Slot
    {
        std::uint64_t hash = kEmpty;
        Record record;
    };

    static constexpr std::uint64_t kEmpty = 0; // the hash of no USN

    [[nodiscard]] std::uint64_t Hash(std::string_view usn) const;
    [[nodiscard]] std::size_t Home(std::uint64_t hash) const { return hash & (mSlots.size() - 1); }
    [[nodiscard]] std::size_t Next(std::size_t slot) const { return Home(slot + 1); }
    [[nodiscard]] std::size_t Distance(std::size_t from, std::size_t to) const
    {
        return Home(to - from);
    }
    [[nodiscard]] std::size_t FreeSlot(std::uint64_t hash) const;
    void Grow();

    HashKey mKey;
    std::size_t mCount = 0;
    std::vector<Slot> mSlots; // a power of two of them, at most three quarters in use
};

} // namespace ssdp
