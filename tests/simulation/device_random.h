#pragma once

#include <array>
#include <cstdint>
#include <cstdlib>

namespace simulation {

// DeviceRandom is random() and srandom() of one simulated device: the generator of the C
// library, with a separate state for each device.
class DeviceRandom
{
public:
    explicit DeviceRandom(std::uint32_t seed)
    {
        static_cast<void>(initstate_r(seed, mState.data(), mState.size(), &mData));
    }
    DeviceRandom(const DeviceRandom &) = delete;
    DeviceRandom &operator=(const DeviceRandom &) = delete;

    void Seed(std::uint32_t seed) { static_cast<void>(srandom_r(seed, &mData)); }

    // From 0 to 2^31 - 1.
    [[nodiscard]] std::uint32_t Draw()
    {
        std::int32_t drawn = 0;
        static_cast<void>(random_r(&mData, &drawn));
        return static_cast<std::uint32_t>(drawn);
    }

private:
    // A state of 128 bytes selects the default polynomial of random().
    std::array<char, 128> mState{};
    random_data mData{};
};

} // namespace simulation
