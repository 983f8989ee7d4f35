#include "ssdp/device_map.h"

#include <gtest/gtest.h>

// No public operation shows the key. An explicit instantiation may name a private
// member, so this template reads it.
template <ssdp::HashKey ssdp::UsnIndex::*Member>
struct KeyAccess
{
    friend ssdp::HashKey KeyOf(const ssdp::UsnIndex &index) { return index.*Member; }
};
template struct KeyAccess<&ssdp::UsnIndex::mKey>;
ssdp::HashKey KeyOf(const ssdp::UsnIndex &index);

// If bits of the key were constant, names that make one device slow could be computed
// for all devices.
TEST(UsnIndex, DrawsEveryBitOfItsKey)
{
    ssdp::HashKey ones;
    ssdp::HashKey zeros;
    // A drawn bit has the same value in all draws with a probability of 2^-127.
    for (int draw = 0; draw < 128; ++draw) {
        const ssdp::HashKey key = KeyOf(ssdp::UsnIndex());
        ones.low |= key.low;
        ones.high |= key.high;
        zeros.low |= ~key.low;
        zeros.high |= ~key.high;
    }
    constexpr std::uint64_t kAll = ~std::uint64_t{0};
    EXPECT_EQ(ones.low, kAll);
    EXPECT_EQ(ones.high, kAll);
    EXPECT_EQ(zeros.low, kAll);
    EXPECT_EQ(zeros.high, kAll);
}
