#include "ssdp/known_alives.h"

#include "ssdp/ssdp_tunables.h"

#include <array>
#include <cstring>

namespace ssdp {
namespace {

constexpr std::size_t kFirstSlots = 16;
// An announcement is in one of this number of neighbouring slots.
constexpr std::size_t kSteps = 8;

std::uint64_t WordOf(const char *bytes)
{
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

// A multiplication carries each bit upwards only, so the sum is rotated before it, and folded
// at the end. The order of a word's bytes does not matter here.
std::uint64_t HashOf(std::string_view text)
{
    constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15U; // odd, with bits in no order
    constexpr std::size_t kWord = sizeof(std::uint64_t);
    std::uint64_t sum = text.size();
    const auto mix = [&sum](std::uint64_t first, std::uint64_t second) {
        sum = (((sum << 29U | sum >> 35U) ^ first) * kFactor) + second;
    };
    for (; text.size() >= 2 * kWord; text.remove_prefix(2 * kWord)) {
        mix(WordOf(text.data()), WordOf(text.data() + kWord));
    }
    std::array<char, 2 * kWord> rest{};
    text.copy(rest.data(), rest.size());
    mix(WordOf(rest.data()), WordOf(rest.data() + kWord));
    sum = (sum ^ sum >> 32U) * kFactor;
    return sum ^ sum >> 32U;
}

} // namespace

KnownAlives::KnownAlives() : mSlots(kFirstSlots) {}

const formats::SSDPHeaders *KnownAlives::Find(std::string_view datagram) const
{
    if (datagram.size() > kMaxKnownAliveBytes) {
        return nullptr;
    }
    const std::uint64_t hash = HashOf(datagram);
    for (std::size_t step = 0; step < kSteps; ++step) {
        const Slot &slot = mSlots[SlotOf(hash, step)];
        if (slot.alive == nullptr) {
            return nullptr;
        }
        if (slot.hash == hash && slot.alive->bytes == datagram) {
            return &slot.alive->headers;
        }
    }
    return nullptr;
}

// If all its slots are in use, the datagram replaces another one. At least half of all slots
// are free, so that is rare.
void KnownAlives::Keep(std::string_view datagram, std::size_t most)
{
    if (datagram.size() > kMaxKnownAliveBytes || most == 0) {
        return;
    }
    Limit(most - 1);
    if (2 * (mCount + 1) > mSlots.size()) {
        // Forgets all. The devices repeat their announcements, which are then kept.
        mSlots = std::vector<Slot>(2 * mSlots.size());
        mCount = 0;
    }
    const std::uint64_t hash = HashOf(datagram);
    std::size_t step = 0;
    while (step < kSteps - 1 && mSlots[SlotOf(hash, step)].alive != nullptr) {
        ++step;
    }
    Slot &slot = mSlots[SlotOf(hash, step)];
    mCount += slot.alive == nullptr ? 1 : 0;
    slot = {hash, std::make_unique<const Alive>(datagram)};
}

void KnownAlives::Limit(std::size_t most)
{
    if (mCount > most) {
        mSlots = std::vector<Slot>(kFirstSlots);
        mCount = 0;
    }
}

} // namespace ssdp
