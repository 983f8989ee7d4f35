#pragma once

#include "ssdp/ssdp_device_type.h"

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <utility>

// IndexedDeviceMap is a map of records in order of their USN with an index
// beside it, so that the record of a device that is heard is found at a cost
// that does not grow with their number. Named as the standard maps are. Not
// thread-safe; the owner's lock guards it.
class IndexedDeviceMap
{
public:
    using iterator = SSDPDeviceMap::iterator;

    IndexedDeviceMap();
    IndexedDeviceMap(const IndexedDeviceMap &) = delete;
    IndexedDeviceMap &operator=(const IndexedDeviceMap &) = delete;

    [[nodiscard]] const SSDPDeviceMap &Map() const { return mMap; }

    [[nodiscard]] iterator begin() { return mMap.begin(); }
    [[nodiscard]] iterator end() { return mMap.end(); }
    [[nodiscard]] iterator find(std::string_view usn);
    [[nodiscard]] bool contains(std::string_view usn) const { return mIndex.count(usn) != 0; }

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
    // A hash that nobody outside can foretell, so that no choice of names makes
    // the index slow.
    class Hash
    {
    public:
        explicit Hash(std::uint64_t seed) : mSeed(seed) {}
        std::size_t operator()(std::string_view text) const;

    private:
        std::uint64_t mSeed;
    };

    SSDPDeviceMap mMap;
    std::unordered_map<std::string_view, iterator, Hash> mIndex; // by the keys of mMap
};
