#include "ssdp/known_alives.h"

#include <array>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

using ssdp::KnownAlives;
using Slot = ssdp::UsnIndex::Slot;

namespace {

constexpr std::uint64_t kGeneration = 7;

// From memory of exactly the text's size: AddressSanitizer finds a read beyond it.
std::uint64_t FingerprintOf(const KnownAlives &alives, std::string_view text)
{
    const std::vector<char> exact(text.begin(), text.end());
    return alives.FingerprintOf({exact.data(), exact.size()});
}

} // namespace

TEST(KnownAlives, AFingerprintIsTheSameEachTime)
{
    const KnownAlives alives;
    for (std::size_t size = 0; size <= KnownAlives::kLongest; ++size) {
        const std::string text(size, 'x');
        EXPECT_EQ(FingerprintOf(alives, text), FingerprintOf(alives, text)) << size;
    }
}

TEST(KnownAlives, AFingerprintDependsOnEachByte)
{
    const KnownAlives alives;
    std::string text(KnownAlives::kLongest, 'x');
    std::set<std::uint64_t> found{FingerprintOf(alives, text)};
    for (char &byte : text) {
        byte = 'y';
        found.insert(FingerprintOf(alives, text));
        byte = 'x';
    }
    EXPECT_EQ(found.size(), KnownAlives::kLongest + 1);
}

TEST(KnownAlives, AFingerprintDependsOnTheLengthOfTrailingZeros)
{
    const KnownAlives alives;
    std::set<std::uint64_t> found;
    for (std::size_t size = 1; size <= KnownAlives::kLongest; ++size) {
        found.insert(FingerprintOf(alives, std::string(size, '\0')));
    }
    EXPECT_EQ(found.size(), KnownAlives::kLongest);
}

// Otherwise datagrams of the same fingerprint could be computed for all devices.
TEST(KnownAlives, AFingerprintDependsOnADrawnKey)
{
    for (const std::size_t at : {std::size_t{0}, std::size_t{4}, KnownAlives::kLongest - 4}) {
        std::string text(KnownAlives::kLongest, '\0');
        text[at] = 'x';
        EXPECT_NE(FingerprintOf(KnownAlives(), text), FingerprintOf(KnownAlives(), text)) << at;
    }
}

TEST(KnownAlives, LongerDatagramsHaveNoneAndAreNotRemembered)
{
    KnownAlives alives;
    EXPECT_EQ(FingerprintOf(alives, std::string(KnownAlives::kLongest + 1, 'x')), 0U);
    Slot device;
    alives.Remember(0, device, kGeneration, 1);
    EXPECT_EQ(alives.Recall(0, kGeneration), nullptr);
}

TEST(KnownAlives, RecallsTheDeviceThatWasRememberedLast)
{
    KnownAlives alives;
    std::array<Slot, 2> devices;
    EXPECT_EQ(alives.Recall(1, kGeneration), nullptr);
    alives.Remember(1, devices[0], kGeneration, 2);
    EXPECT_EQ(alives.Recall(1, kGeneration), &devices[0]);
    EXPECT_EQ(alives.Recall(2, kGeneration), nullptr);
    alives.Remember(1, devices[1], kGeneration, 2);
    EXPECT_EQ(alives.Recall(1, kGeneration), &devices[1]);
}

TEST(KnownAlives, ForgetsWhatWasRememberedInAnotherGeneration)
{
    KnownAlives alives;
    Slot device;
    alives.Remember(1, device, kGeneration, 1);
    for (const std::uint64_t other : {kGeneration - 1, kGeneration + 1, kGeneration + 1000}) {
        EXPECT_EQ(alives.Recall(1, other), nullptr);
    }
    EXPECT_EQ(alives.Recall(1, kGeneration), &device);
}

TEST(KnownAlives, RemembersMostOfThousandsOfDevices)
{
    KnownAlives alives;
    std::vector<Slot> devices(4096);
    const auto fingerprint = [&alives](std::size_t number) {
        return alives.FingerprintOf("NOTIFY of " + std::to_string(number));
    };
    for (int round = 0; round < 2; ++round) {
        for (std::size_t number = 0; number < devices.size(); ++number) {
            alives.Remember(fingerprint(number), devices[number], kGeneration, devices.size());
        }
    }
    std::size_t recalled = 0;
    for (std::size_t number = 0; number < devices.size(); ++number) {
        const Slot *device = alives.Recall(fingerprint(number), kGeneration);
        if (device != nullptr) {
            EXPECT_EQ(device, &devices[number]);
            ++recalled;
        }
    }
    EXPECT_GT(recalled, devices.size() * 4 / 5);
}
