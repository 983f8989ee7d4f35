#pragma once

#include "ssdp/device_map.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace ssdp {

// KnownAlives recognises announcements of known devices that arrived before: a device
// repeats the same bytes every 15 to 24 s. The headers of such a datagram need not be read
// again, which is two thirds of the work for it.
//
// Only a fingerprint of each datagram is kept. Two different datagrams have the same one with
// a probability of 2^-32, whatever an attacker sends, because the key is secret. The second
// would then renew the entry of the wrong device. A device takes 64 to 128 bytes here.
//
// A generation is a state of the index of devices (IndexedDeviceMap::Generation). All that
// was remembered in another generation is forgotten, because its slots are no longer valid.
//
// Not thread-safe; it belongs to the registry.
class KnownAlives
{
public:
    static constexpr std::size_t kLongest = 512; // bytes of a datagram with a fingerprint

    // Draws the key.
    KnownAlives();

    // The fingerprint of a datagram: NH, a universal hash (Black and others, "UMAC: Fast
    // and Secure Message Authentication", 1999), with the length of the text. 0 for a longer
    // datagram, which is never remembered.
    [[nodiscard]] std::uint64_t FingerprintOf(std::string_view datagram) const;

    // Remembers that the datagram of a fingerprint announced the device of a slot, which is
    // one of DEVICES. May forget another datagram.
    void Remember(std::uint64_t fingerprint, UsnIndex::Slot &device, std::uint64_t generation,
                  std::size_t devices);
    // The device that the datagram of a fingerprint announced; null if it is not remembered.
    [[nodiscard]] UsnIndex::Slot *Recall(std::uint64_t fingerprint, std::uint64_t generation) const;

private:
    struct Entry
    {
        std::uint64_t tag = 0; // of the fingerprint and the generation
        UsnIndex::Slot *device = nullptr;
    };

    [[nodiscard]] std::size_t PlaceOf(std::uint64_t tag) const
    {
        return tag & (mEntries.size() - 1);
    }

    std::array<std::uint32_t, kLongest / sizeof(std::uint32_t)> mKey{};
    std::vector<Entry> mEntries; // their number is a power of two
};

} // namespace ssdp
