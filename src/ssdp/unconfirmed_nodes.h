#pragma once

#include "formats/ssdp_device_type.h"

#include <list>
#include <unordered_map>

namespace ssdp {

// UnconfirmedNodes keeps the entries of a device map that a description made and
// no announcement has confirmed since, the oldest first. They give way to a
// newcomer when the registry is full, so that forged descriptions lock nobody
// out. An entry's flag says whether it is confirmed. Not thread-safe.
class UnconfirmedNodes
{
public:
    using Node = SSDPDeviceMap::iterator;

    [[nodiscard]] static bool IsConfirmed(const SSDPDeviceType &device)
    {
        return device.flag == kConfirmed;
    }

    // Marks a record as confirmed. REQUIRES: it is not in here.
    static void MarkConfirmed(SSDPDeviceType &device) { device.flag = kConfirmed; }

    // Enters a node as the newest. REQUIRES: it is not confirmed.
    void Add(Node node) { mPlaces[&node->second] = mNodes.insert(mNodes.end(), node); }

    // Takes a node out; nothing happens when it is not in here.
    void Remove(Node node)
    {
        const auto place = mPlaces.find(&node->second);
        if (place != mPlaces.end()) {
            mNodes.erase(place->second);
            mPlaces.erase(place);
        }
    }

    [[nodiscard]] bool Empty() const { return mNodes.empty(); }
    // REQUIRES: not Empty().
    [[nodiscard]] Node Oldest() const { return mNodes.front(); }

    void Clear()
    {
        mNodes.clear();
        mPlaces.clear();
    }

private:
    static constexpr std::uint8_t kConfirmed = 1;

    std::list<Node> mNodes;
    // By the record's address, which stays while it is in its map.
    std::unordered_map<const SSDPDeviceType *, std::list<Node>::iterator> mPlaces;
};

} // namespace ssdp
