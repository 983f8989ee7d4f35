#include "ssdp/known_alives.h"

#include <algorithm>
#include <cstring>
#include <random>

namespace ssdp {
namespace {

constexpr std::uint64_t kMixer = 0x9E3779B97F4A7C15U; // odd, with bits in no order

// The high bits of NH are the good ones, but the low bits choose an entry.
std::uint64_t TagOf(std::uint64_t fingerprint, std::uint64_t generation)
{
    const std::uint64_t tag = fingerprint + generation * kMixer;
    return tag ^ tag >> 32U;
}

} // namespace

KnownAlives::KnownAlives() : mEntries(64)
{
    std::random_device device;
    std::generate(mKey.begin(), mKey.end(), [&device] { return device(); });
}

// The last pair of words is padded with zeros.
std::uint64_t KnownAlives::FingerprintOf(std::string_view datagram) const
{
    if (datagram.size() > kLongest) {
        return 0;
    }
    std::uint64_t sum = datagram.size() * kMixer;
    const std::uint32_t *key = mKey.data();
    std::array<std::uint32_t, 2> pair{};
    const auto add = [&sum, &key, &pair] {
        sum += static_cast<std::uint64_t>(pair[0] + key[0]) * (pair[1] + key[1]);
        key += pair.size();
    };
    for (; datagram.size() >= sizeof pair; datagram.remove_prefix(sizeof pair)) {
        std::memcpy(pair.data(), datagram.data(), sizeof pair);
        add();
    }
    if (!datagram.empty()) {
        pair = {};
        std::memcpy(pair.data(), datagram.data(), datagram.size());
        add();
    }
    return sum;
}

void KnownAlives::Remember(std::uint64_t fingerprint, UsnIndex::Slot &device,
                           std::uint64_t generation, std::size_t devices)
{
    if (fingerprint == 0) {
        return;
    }
    if (mEntries.size() < 4 * devices) {
        mEntries.assign(2 * mEntries.size(), {}); // with more room, fewer displace each other
    }
    const std::uint64_t tag = TagOf(fingerprint, generation);
    mEntries[PlaceOf(tag)] = {tag, &device};
}

UsnIndex::Slot *KnownAlives::Recall(std::uint64_t fingerprint, std::uint64_t generation) const
{
    const std::uint64_t tag = TagOf(fingerprint, generation);
    const Entry &entry = mEntries[PlaceOf(tag)];
    return entry.tag == tag ? entry.device : nullptr;
}

} // namespace ssdp
