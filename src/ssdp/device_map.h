#pragma once

#include "formats/ssdp_device_type.h"

#include <cstddef>
#include <cstdint>
#include <list>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

// The map of known devices, with an index by USN and the order in which
// unconfirmed entries are replaced. Nothing here is thread-safe: all of it belongs to
// the registry.
namespace ssdp {

// The key of a hash.
struct HashKey
{
    std::uint64_t low = 0;
    std::uint64_t high = 0;
};

// SipHash-1-3 of a text (Aumasson and Bernstein, "SipHash: a fast short-input
// PRF"). Without the key, an attacker cannot choose texts whose hashes collide or share
// many bits.
[[nodiscard]] std::uint64_t KeyedHash(const HashKey &key, std::string_view text);

// UsnIndex finds records of an SSDPDeviceMap by their USN. It is a hash table with
// open addressing and linear probing: a table of linked nodes costs two more cache
// misses for each received announcement. The key is secret, so no choice of names
// makes the look-up slow.
class UsnIndex
{
public:
    using Record = formats::SSDPDeviceMap::iterator;

    static constexpr std::uint32_t kEmpty = 0; // Hash() never returns it

    // A record, and the registry's notes about it.
    struct Slot
    {
        std::uint32_t hash = kEmpty; // half of the hash of the USN
        // When the description came or was requested last, in seconds of the clock of
        // DescriptionRefresh; 0 if never.
        std::uint32_t describedSeconds = 0;
        Record record;
    };

    UsnIndex();

    // The slot of a USN; null when there is none. The pointer is valid until the index
    // changes.
    [[nodiscard]] Slot *Find(std::string_view usn);
    [[nodiscard]] const Slot *Find(std::string_view usn) const;
    // Adds a record. REQUIRES: the index has no record of that USN.
    void Insert(Record record);
    // Removes a record. REQUIRES: it is in the index.
    void Erase(Record record);
    void Clear();

    // Calls visit(record) for every record, in no order. visit must not change the index.
    template <typename Visit>
    void ForEach(const Visit &visit) const
    {
        for (const Slot &slot : mSlots) {
            if (slot.hash != kEmpty) {
                visit(slot.record);
            }
        }
    }

private:
    [[nodiscard]] std::uint32_t Hash(std::string_view usn) const;
    // The slot at which the search for a hash begins.
    [[nodiscard]] std::size_t Home(std::size_t hash) const { return hash & (mSlots.size() - 1); }
    [[nodiscard]] std::size_t Next(std::size_t slot) const { return Home(slot + 1); }
    // The number of slots from one forward to the other, if necessary across the table's end.
    [[nodiscard]] std::size_t Distance(std::size_t from, std::size_t to) const
    {
        return Home(to - from);
    }
    [[nodiscard]] std::size_t FreeSlot(std::uint32_t hash) const;
    void Grow();

    HashKey mKey;
    std::size_t mCount = 0;
    std::vector<Slot> mSlots; // their number is a power of two; never full
};

// IndexedDeviceMap keeps records in the order of their USN, and has an index for
// look-ups: the cost of finding the sender of an announcement does not grow with
// the number of devices. Its functions are named as those of std::map.
class IndexedDeviceMap
{
public:
    using iterator = formats::SSDPDeviceMap::iterator;

    IndexedDeviceMap() = default;
    IndexedDeviceMap(const IndexedDeviceMap &) = delete;
    IndexedDeviceMap &operator=(const IndexedDeviceMap &) = delete;

    [[nodiscard]] const formats::SSDPDeviceMap &Map() const { return mMap; }

    // Calls visit(device) for every record, in no order. Faster than a loop from begin() to
    // end(): the processor does not wait for a record before it fetches the next one.
    template <typename Visit>
    void ForEach(const Visit &visit)
    {
        mIndex.ForEach([&visit](iterator entry) { visit(entry->second); });
    }

    [[nodiscard]] iterator begin() { return mMap.begin(); }
    [[nodiscard]] iterator end() { return mMap.end(); }
    [[nodiscard]] iterator find(std::string_view usn);
    [[nodiscard]] bool contains(std::string_view usn) const { return mIndex.Find(usn) != nullptr; }

    // Adds a record under its USN unless there is one already. Returns the entry,
    // and whether it is new.
    std::pair<iterator, bool> try_emplace(SSDPDeviceType device);
    // Adds a record under its USN, or replaces the existing one.
    void insert_or_assign(SSDPDeviceType device);
    // Removes an entry and returns the following one.
    iterator erase(iterator device);
    // Removes the entry of a USN. Returns whether there was one.
    bool erase(std::string_view usn);
    void clear();

    // The index's slot of a USN; null when there is none. The pointer is valid until
    // the map changes.
    [[nodiscard]] UsnIndex::Slot *Find(std::string_view usn) { return mIndex.Find(usn); }

private:
    formats::SSDPDeviceMap mMap;
    UsnIndex mIndex;
};

// The bits of SSDPDeviceType::flag: the registry's marks on a record.
namespace record_flag {
inline constexpr std::uint8_t kConfirmed = 1; // see UnconfirmedNodes
inline constexpr std::uint8_t kEscaped = 2;   // the browse list needs escapes for it
} // namespace record_flag

// UnconfirmedNodes lists the entries that a description created and that no
// announcement has confirmed, oldest first. When the registry is full, new devices
// replace them: forged descriptions cannot keep real devices out.
class UnconfirmedNodes
{
public:
    using Node = formats::SSDPDeviceMap::iterator;

    [[nodiscard]] static bool IsConfirmed(const SSDPDeviceType &device)
    {
        return (device.flag & record_flag::kConfirmed) != 0;
    }

    // Marks a record as confirmed. REQUIRES: it is not in this list.
    static void MarkConfirmed(SSDPDeviceType &device) { device.flag |= record_flag::kConfirmed; }

    // Adds a node as the newest. REQUIRES: it is not confirmed.
    void Add(Node node) { mPlaces[&node->second] = mNodes.insert(mNodes.end(), node); }

    // Removes a node. Does nothing when it is not in this list.
    void Remove(Node node);

    // The oldest first.
    [[nodiscard]] const std::list<Node> &Nodes() const { return mNodes; }

    void Clear();

private:
    std::list<Node> mNodes;
    // By the record's address in memory, which does not change while the record is in its map.
    std::unordered_map<const SSDPDeviceType *, std::list<Node>::iterator> mPlaces;
};

} // namespace ssdp
