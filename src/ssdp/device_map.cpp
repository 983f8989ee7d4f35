#include "ssdp/device_map.h"

#include <cstring>
#include <endian.h>
#include <random>

namespace ssdp {
namespace {

constexpr std::size_t kFirstSlots = 64;
// The index grows before more than three quarters of its slots are in use: beyond
// that, linear probing walks over long runs.
constexpr std::size_t kLoadNumerator = 3;
constexpr std::size_t kLoadDenominator = 4;

std::uint64_t RotateLeft(std::uint64_t word, unsigned int bits)
{
    return word << bits | word >> (64U - bits);
}

// The state of SipHash: four words that absorb a text. All numbers are those of
// the algorithm.
class SipState
{
public:
    explicit SipState(const HashKey &key)
        : mV0(key.low ^ 0x736f6d6570736575U),
          mV1(key.high ^ 0x646f72616e646f6dU),
          mV2(key.low ^ 0x6c7967656e657261U),
          mV3(key.high ^ 0x7465646279746573U)
    {
    }

    void Absorb(std::uint64_t word)
    {
        mV3 ^= word;
        Round();
        mV0 ^= word;
    }

    std::uint64_t Finish()
    {
        mV2 ^= 0xffU;
        for (int round = 0; round < 3; ++round) {
            Round();
        }
        return mV0 ^ mV1 ^ mV2 ^ mV3;
    }

private:
    void Round()
    {
        mV0 += mV1;
        mV2 += mV3;
        mV1 = RotateLeft(mV1, 13) ^ mV0;
        mV3 = RotateLeft(mV3, 16) ^ mV2;
        mV0 = RotateLeft(mV0, 32);
        mV2 += mV1;
        mV0 += mV3;
        mV1 = RotateLeft(mV1, 17) ^ mV2;
        mV3 = RotateLeft(mV3, 21) ^ mV0;
        mV2 = RotateLeft(mV2, 32);
    }

    std::uint64_t mV0;
    std::uint64_t mV1;
    std::uint64_t mV2;
    std::uint64_t mV3;
};

// Up to eight bytes as a little-endian number.
std::uint64_t WordOf(std::string_view bytes)
{
    std::uint64_t word = 0;
    if (!bytes.empty()) { // memcpy must not get the null pointer of an empty view
        std::memcpy(&word, bytes.data(), bytes.size());
    }
    return le64toh(word);
}

HashKey DrawKey()
{
    std::random_device device;
    const auto draw = [&device] { return static_cast<std::uint64_t>(device()) << 32U | device(); };
    return {draw(), draw()};
}

} // namespace

std::uint64_t KeyedHash(const HashKey &key, std::string_view text)
{
    constexpr std::size_t kWord = sizeof(std::uint64_t);
    const std::uint64_t length = text.size();
    SipState state(key);
    for (; text.size() >= kWord; text.remove_prefix(kWord)) {
        state.Absorb(WordOf(text.substr(0, kWord)));
    }
    state.Absorb(length << 56U | WordOf(text));
    return state.Finish();
}

UsnIndex::UsnIndex() : mKey(DrawKey()), mSlots(kFirstSlots) {}

// Half of the hash distinguishes records well enough, and a slot stays small.
std::uint32_t UsnIndex::Hash(std::string_view usn) const
{
    const auto hash = static_cast<std::uint32_t>(KeyedHash(mKey, usn));
    return hash == kEmpty ? 1 : hash;
}

// The hash in the slot is compared first, so the record of another USN is hardly ever read.
const UsnIndex::Slot *UsnIndex::Find(std::string_view usn) const
{
    const std::uint32_t hash = Hash(usn);
    for (std::size_t slot = Home(hash); mSlots[slot].hash != kEmpty; slot = Next(slot)) {
        if (mSlots[slot].hash == hash && mSlots[slot].record->first == usn) {
            return &mSlots[slot];
        }
    }
    return nullptr;
}

UsnIndex::Slot *UsnIndex::Find(std::string_view usn)
{
    return const_cast<Slot *>(std::as_const(*this).Find(usn)); // this object is not const
}

// The loop ends, because at least a quarter of the slots is free.
std::size_t UsnIndex::FreeSlot(std::uint32_t hash) const
{
    std::size_t slot = Home(hash);
    while (mSlots[slot].hash != kEmpty) {
        slot = Next(slot);
    }
    return slot;
}

void UsnIndex::Insert(Record record)
{
    if (kLoadDenominator * (mCount + 1) > kLoadNumerator * mSlots.size()) {
        Grow();
    }
    const std::uint32_t hash = Hash(record->first);
    mSlots[FreeSlot(hash)] = {hash, 0, record};
    ++mCount;
}

void UsnIndex::Grow()
{
    const std::vector<Slot> old = std::exchange(mSlots, std::vector<Slot>(2 * mSlots.size()));
    for (const Slot &slot : old) {
        if (slot.hash != kEmpty) {
            mSlots[FreeSlot(slot.hash)] = slot;
        }
    }
}

// Backward-shift deletion (Knuth, "The Art of Computer Programming", volume 3,
// section 6.4, algorithm R). A search stops at the first free slot, so an emptied
// slot in the middle of a run would hide the entries after it. Each later entry of
// the run whose home slot is at or before the gap moves into the gap, and its old
// slot becomes the gap. An entry whose home slot lies after the gap stays: its own
// search never visits the gap.
void UsnIndex::Erase(Record record)
{
    std::size_t gap = Home(Hash(record->first));
    while (mSlots[gap].record != record) {
        gap = Next(gap);
    }
    for (std::size_t slot = Next(gap); mSlots[slot].hash != kEmpty; slot = Next(slot)) {
        const std::size_t home = Home(mSlots[slot].hash);
        if (Distance(home, slot) >= Distance(gap, slot)) { // holds across the table's end, too
            mSlots[gap] = mSlots[slot];
            gap = slot;
        }
    }
    mSlots[gap] = {};
    --mCount;
}

void UsnIndex::Clear()
{
    mSlots.assign(kFirstSlots, {});
    mCount = 0;
}

IndexedDeviceMap::iterator IndexedDeviceMap::find(std::string_view usn)
{
    const UsnIndex::Slot *entry = mIndex.Find(usn);
    return entry == nullptr ? mMap.end() : entry->record;
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

// The index first: it reads the USN of the record, which the map destroys.
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

void UnconfirmedNodes::Remove(Node node)
{
    const auto place = mPlaces.find(&node->second);
    if (place != mPlaces.end()) {
        mNodes.erase(place->second);
        mPlaces.erase(place);
    }
}

void UnconfirmedNodes::Clear()
{
    mNodes.clear();
    mPlaces.clear();
}

} // namespace ssdp
