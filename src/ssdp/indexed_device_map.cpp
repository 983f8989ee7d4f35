#include "ssdp/indexed_device_map.h"

namespace ssdp {

IndexedDeviceMap::iterator IndexedDeviceMap::find(std::string_view usn)
{
    const iterator *entry = mIndex.Find(usn);
    return entry == nullptr ? mMap.end() : *entry;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): it is moved into the map
std::pair<IndexedDeviceMap::iterator, bool> IndexedDeviceMap::try_emplace(SSDPDeviceType device)
{
    std::string usn = device.usn;
    const auto result = mMap.try_emplace(std::move(usn), std::move(device));
    if (result.second) {
        mIndex.Insert(result.first);
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
    mIndex.Erase(device);
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
    mIndex.Clear();
    mMap.clear();
}

} // namespace ssdp
