#include "ssdp/device_map.h"

#include <gtest/gtest.h>
#include <set>
#include <string>

using ssdp::HashKey;
using ssdp::KeyedHash;

namespace {

constexpr HashKey kReferenceKey{0x0706050403020100U, 0x0f0e0d0c0b0a0908U};

} // namespace

TEST(KeyedHash, IsSipHash13OfTextsOfAnyLength)
{
    EXPECT_EQ(KeyedHash({}, "u"), 0x3b14a55fb2447963U);
    EXPECT_EQ(KeyedHash({}, "1234567"), 0xa33d651594fdae81U);
    EXPECT_EQ(KeyedHash({}, "12345678"), 0x3489982430560a87U);
    EXPECT_EQ(KeyedHash({}, "123456789"), 0x0fbc0f0007965fcfU);
    EXPECT_EQ(KeyedHash({}, "uuid:65746500-Corvia 12 Plus-192.0.2.9-0"), 0xc8084d7181494072U);
}

TEST(KeyedHash, DependsOnBothHalvesOfTheKey)
{
    EXPECT_EQ(KeyedHash(kReferenceKey, {}), 0xabac0158050fc4dcU);
    const std::set<std::uint64_t> hashes = {
        KeyedHash({0, 0}, "u"), KeyedHash({1, 0}, "u"), KeyedHash({0, 1}, "u"),
        KeyedHash({1ULL << 63U, 0}, "u"), KeyedHash({0, 1ULL << 63U}, "u")};
    EXPECT_EQ(hashes.size(), 5U);
}

// Each name has 12 blocks, and each block is one of two texts. Their difference cancels out, with
// any first state, in a hash that does this for each 8 bytes: state = (state ^ bytes) * odd number;
// state ^= state >> 29. There are as many names as a full registry has devices.
TEST(KeyedHash, DiffersForNamesMadeToCollideInASimplerHash)
{
    const std::string one(16, 'a');
    const std::string other = "aaaaaaa\xe1"
                              "aaaaeaa\xe1";
    std::set<std::uint64_t> hashes;
    for (unsigned int number = 0; number < 4096; ++number) {
        std::string name = "uuid:65746500-xx";
        for (unsigned int block = 0; block < 12; ++block) {
            name += (number >> block & 1U) == 0 ? one : other;
        }
        hashes.insert(KeyedHash(kReferenceKey, name));
    }
    EXPECT_EQ(hashes.size(), 4096U);
}
