#include "ssdp/device_map.h"

#include <gtest/gtest.h>

// The key of an index has no other effect that a test could see. An explicit
// instantiation may name a private member.
template <ssdp::HashKey ssdp::UsnIndex::*Member>
struct KeyAccess
{
    friend ssdp::HashKey KeyOf(const ssdp::UsnIndex &index) { return index.*Member; }
};
template struct KeyAccess<&ssdp::UsnIndex::mKey>;
ssdp::HashKey KeyOf(const ssdp::UsnIndex &index);

// With a key that is the same on every device, or partly so, names that make one device
// slow make all of them slow.
TEST(UsnIndex, DrawsEveryBitOfItsKey)
{
    ssdp::HashKey ones;
    ssdp::HashKey zeros;
    for (int draw = 0; draw < 128; ++draw) { // a bit that is drawn is the same by 1 to 2^127
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
