#include "ssdp/known_alives.h"

#include "ssdp/ssdp_tunables.h"

#include <array>
#include <cstring>
#include <utility>

namespace ssdp {
namespace {

constexpr std::size_t kFirstSlots = 16;
constexpr std::uint64_t kUnused = 0; // the hash of a slot that was never used
// The number of neighbouring slots in which an announcement can be.
constexpr std::size_t kSteps = 16;

// The hash of a text, from 32 bytes at a time, because hashing is a sixth of the whole work for
// an announcement that is recognised. A multiplication carries each bit upwards only, so the
// halves are folded at the end. The order of a word's bytes does not matter here.
std::uint64_t HashOf(std::string_view text)
{
    constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15U; // odd, with bits in no order
    using Words = std::array<std::uint64_t, 4>;
    std::uint64_t first = text.size();
    std::uint64_t second{}; // any number would do
    const auto mix = [&first, &second](const char *bytes) {
        Words words{};
        std::memcpy(words.data(), bytes, sizeof words);
        const auto [one, two, three, four] = words;
        first = (first ^ one) * kFactor + two;
        second = (second ^ three) * kFactor + four;
    };
    for (; text.size() >= sizeof(Words); text.remove_prefix(sizeof(Words))) {
        mix(text.data());
    }
    std::array<char, sizeof(Words)> rest{};
    text.copy(rest.data(), rest.size());
    mix(rest.data());
    std::uint64_t sum = (first ^ first >> 32U ^ second ^ second >> 29U) * kFactor;
    sum ^= sum >> 32U;
    return sum == kUnused ? 1 : sum;
}

// A part of one text, in a copy of that text.
std::string_view PartOf(std::string_view copy, std::string_view text, std::string_view part)
{
    return part.empty()
               ? std::string_view()
               : copy.substr(static_cast<std::size_t>(part.data() - text.data()), part.size());
}

} // namespace

KnownAlives::Alive::Alive(std::string_view datagram, const formats::SSDPHeaders &headersOfDatagram)
    : bytes(datagram), headers(headersOfDatagram)
{
    for (std::string_view *part : {&headers.notify.nt, &headers.notify.usn,
                                   &headers.notify.location, &headers.searchTarget}) {
        *part = PartOf(bytes, datagram, *part);
    }
}

KnownAlives::KnownAlives() : mSlots(kFirstSlots) {}

const formats::SSDPHeaders *KnownAlives::Find(std::string_view datagram) const
{
    if (datagram.size() > kMaxKnownAliveBytes) {
        return nullptr;
    }
    const std::uint64_t hash = HashOf(datagram);
    for (std::size_t step = 0; step < kSteps; ++step) {
        const Slot &slot = mSlots[SlotOf(hash, step)];
        if (slot.hash == hash && slot.alive != nullptr && slot.alive->Has(datagram)) {
            return &slot.alive->headers;
        }
        if (slot.hash == kUnused) {
            return nullptr;
        }
    }
    return nullptr;
}

void KnownAlives::Keep(std::string_view datagram, const formats::SSDPHeaders &headers,
                       std::size_t most)
{
    if (datagram.size() > kMaxKnownAliveBytes) {
        return;
    }
    Limit(most - 1);
    if (2 * (mCount + 1) > mSlots.size()) {
        Resize(2 * mSlots.size());
    }
    Put({HashOf(datagram), std::make_unique<const Alive>(datagram, headers)});
}

// Puts an entry into the first free one of the kSteps slots that its hash allows. If none of
// them is free, the entry replaces that in the last one. This is rare, because at least half of
// all slots are free.
void KnownAlives::Put(Slot entry)
{
    std::size_t step = 0;
    while (step < kSteps - 1 && mSlots[SlotOf(entry.hash, step)].alive != nullptr) {
        ++step;
    }
    Slot &slot = mSlots[SlotOf(entry.hash, step)];
    mCount += slot.alive == nullptr ? 1 : 0;
    slot = std::move(entry);
}

void KnownAlives::Limit(std::size_t most)
{
    while (mCount > most) {
        ForgetNext();
    }
    while (mSlots.size() > kFirstSlots && 8 * mCount < mSlots.size()) {
        Resize(mSlots.size() / 2);
    }
}

// Walks over the slots: each entry has its turn. REQUIRES: mCount > 0.
void KnownAlives::ForgetNext()
{
    do {
        mForgotten = SlotOf(mForgotten, 1);
    } while (mSlots[mForgotten].alive == nullptr);
    mSlots[mForgotten].alive.reset(); // the hash stays: Find must look at the slots after it
    --mCount;
}

void KnownAlives::Resize(std::size_t slots)
{
    std::vector<Slot> old = std::exchange(mSlots, std::vector<Slot>(slots));
    mCount = 0;
    for (Slot &slot : old) {
        if (slot.alive != nullptr) {
            Put(std::move(slot));
        }
    }
}

} // namespace ssdp
