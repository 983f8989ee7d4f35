#include "ssdp/usn_index.h"

#include <random>
#include <utility>

namespace ssdp {

namespace {

constexpr std::size_t kFirstSlots = 64;

HashKey DrawKey()
{
    std::random_device device;
    const auto draw = [&device] { return static_cast<std::uint64_t>(device()) << 32U | device(); };
    return {draw(), draw()};
}

} // namespace

UsnIndex::UsnIndex() : mKey(DrawKey()), mSlots(kFirstSlots) {}

std::uint64_t UsnIndex::Hash(std::string_view usn) const
{
    const std::uint64_t hash = KeyedHash(mKey, usn);
    return hash == kEmpty ? 1 : hash;
}

const UsnIndex::Record *UsnIndex::Find(std::string_view usn) const
{
    const std::uint64_t hash = Hash(usn);
    for (std::size_t slot = Home(hash); mSlots[slot].hash != kEmpty; slot = Next(slot)) {
        if (mSlots[slot].hash == hash && mSlots[slot].record->first == usn) {
            return &mSlots[slot].record;
        }
    }
    return nullptr;
}

std::size_t UsnIndex::FreeSlot(std::uint64_t hash) const
{
    std::size_t slot = Home(hash);
    while (mSlots[slot].hash != kEmpty) {
        slot = Next(slot);
    }
    return slot;
}

void UsnIndex::Insert(Record record)
{
    if (4 * (mCount + 1) > 3 * mSlots.size()) {
        Grow();
    }
    const std::uint64_t hash = Hash(record->first);
    mSlots[FreeSlot(hash)] = {hash, record};
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

// Closes the gap: what stands behind it up to the next free slot and would be
// sought from the gap or before it moves into it.
void UsnIndex::Erase(Record record)
{
    std::size_t gap = Home(Hash(record->first));
    while (mSlots[gap].record != record) {
        gap = Next(gap);
    }
    for (std::size_t slot = Next(gap); mSlots[slot].hash != kEmpty; slot = Next(slot)) {
        const std::size_t home = Home(mSlots[slot].hash);
        if (Distance(home, slot) >= Distance(gap, slot)) {
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

} // namespace ssdp
