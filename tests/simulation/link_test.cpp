#include "simulation/link.h"

#include <gtest/gtest.h>
#include <string_view>

using simulation::Micros;

namespace {

enum class Frames { Unicast, Multicast, Both };

// One machine sends 1,000 frames, with a pause between them. Returns how many of them arrive
// earlier than their predecessor.
int Overtakings(std::string_view preset, Micros pause, Frames frames)
{
    constexpr int kFrames = 1000;
    simulation::Chance chance(1);
    simulation::Link link(simulation::LinkPreset(preset).value(), chance);
    Micros last = 0;
    int overtakings = 0;
    for (int frame = 0; frame < kFrames; ++frame) {
        const bool multicast =
            frames == Frames::Both ? frame % 2 == 0 : frames == Frames::Multicast;
        const Micros arrival = link.Send(0, multicast, 1, pause * frame, 0).value();
        overtakings += arrival < last ? 1 : 0;
        last = arrival;
    }
    return overtakings;
}

} // namespace

// The delays of a switch differ by up to 100 µs, those of an access point by up to 2 ms,
// and it holds multicast back for up to 102 ms.
TEST(Link, ASwitchKeepsTheOrderOfAMachinesFrames)
{
    EXPECT_EQ(Overtakings("wired", 10, Frames::Both), 0);
}

TEST(Link, AnAccessPointKeepsTheOrderOfUnicastAndOfMulticast)
{
    EXPECT_EQ(Overtakings("wifi", 400, Frames::Unicast), 0);
    EXPECT_EQ(Overtakings("wifi", 400, Frames::Multicast), 0);
}

TEST(Link, AnAccessPointHoldsMulticastBack)
{
    EXPECT_GT(Overtakings("wifi", 400, Frames::Both), 100);
}
