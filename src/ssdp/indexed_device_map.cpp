#include "ssdp/indexed_device_map.h"

#include <cstring>
#include <random>

namespace {

std::uint64_t DrawSeed()
{
    std::random_device device;
    return static_cast<std::uint64_t>(device()) << 32U | device();
}

std::uint64_t Mix(std::uint64_t state, std::uint64_t word)
{
    constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15U; // 2^64 divided by the golden ratio
    state = (state ^ word) * kOdd;
    return state ^ state >> 29U;
}

constexpr std::size_t kFirstBuckets = 64;

} // namespace

std::size_t IndexedDeviceMap::Hash::operator()(std::string_view text) const
{
    std::uint64_t state = mSeed ^ text.size();
    std::uint64_t word = 0;
    for (; text.size() >= sizeof word; text.remove_prefix(sizeof word)) {
        std::memcpy(&word, text.data(), sizeof word);
        state = Mix(state, word);
    }
    word = 0;
    if (!text.empty()) { // the data of an empty view may be null
        std::memcpy(&word, text.data(), text.size());
    }
    return static_cast<std::size_t>(Mix(Mix(state, word), mSeed));
}

IndexedDeviceMap::IndexedDeviceMap() : mIndex(kFirstBuckets, Hash(DrawSeed())) {}

IndexedDeviceMap::iterator IndexedDeviceMap::find(std::string_view usn)
{
    const auto entry = mIndex.find(usn);
    return entry == mIndex.end() ? mMap.end() : entry->second;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): it is moved into the map
std::pair<IndexedDeviceMap::iterator, bool> IndexedDeviceMap::try_emplace(SSDPDeviceType device)
{
    std::string usn = device.usn;
    const auto result = mMap.try_emplace(std::move(usn), std::move(device));
    if (result.second) {
        mIndex.emplace(result.first->first, result.first);
    }
    return result;
}

void IndexedDeviceMap::insert_or_assign(SSDPDeviceType device)
{
    const auto entry = find(device.usn);
    if (entry != mMap.end()) {
        entry->second = std::move(device);
    } else {
        try_emplace(std::move(device));
    }
}

IndexedDeviceMap::iterator IndexedDeviceMap::erase(iterator device)
{
    mIndex.erase(device->first);
    return mMap.erase(device);
}

bool IndexedDeviceMap::erase(std::string_view usn)
{
    const auto entry = find(usn);
    if (entry == mMap.end()) {
        return false;
    }
    erase(entry);
    return true;
}

void IndexedDeviceMap::clear()
{
    mIndex.clear();
    mMap.clear();
}
