#pragma once

#include "formats/ssdp_device_type.h"
#include "ssdp/usn_index.h"

#include <string_view>
#include <utility>

namespace ssdp {

// IndexedDeviceMap is a map of records in order of their USN with an index
// beside it, so that the record of a device that is heard is found at a cost
// that does not grow with their number. Named as the standard maps are. Not
// thread-safe; the owner's lock guards it.
class IndexedDeviceMap
{
public:
    using iterator = SSDPDeviceMap::iterator;

    IndexedDeviceMap() = default;
    IndexedDeviceMap(const IndexedDeviceMap &) = delete;
    IndexedDeviceMap &operator=(const IndexedDeviceMap &) = delete;

    [[nodiscard]] const SSDPDeviceMap &Map() const { return mMap; }

    [[nodiscard]] iterator begin() { return mMap.begin(); }
    [[nodiscard]] iterator end() { return mMap.end(); }
    [[nodiscard]] iterator find(std::string_view usn);
    [[nodiscard]] bool contains(std::string_view usn) const { return mIndex.Find(usn) != nullptr; }

    // Enters a record under its USN unless there is one: its place, and whether
    // it was entered.
    std::pair<iterator, bool> try_emplace(SSDPDeviceType device);
    // Enters a record under its USN in place of any that is there.
    void insert_or_assign(SSDPDeviceType device);
    // Takes a record out; the place behind it.
    iterator erase(iterator device);
    // Takes the record of a USN out; whether there was one.
    bool erase(std::string_view usn);
    void clear();

private:
    SSDPDeviceMap mMap;
    UsnIndex mIndex;
};

} // namespace ssdp
