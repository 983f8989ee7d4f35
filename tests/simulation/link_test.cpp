#include "simulation/link.h"

#include <algorithm>
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

constexpr int kMany = 20'000;

struct Losses
{
    double share = 0;
    double meanBurst = 0; // losses in a row
};

Losses LossesOf(const simulation::LinkSettings &settings, bool multicast)
{
    simulation::Chance chance(1);
    simulation::Link link(settings, chance);
    int lost = 0;
    int bursts = 0;
    bool before = false;
    for (int datagram = 0; datagram < kMany; ++datagram) {
        const bool loses = link.Loses(0, multicast);
        lost += loses ? 1 : 0;
        bursts += loses && !before ? 1 : 0;
        before = loses;
    }
    return {static_cast<double>(lost) / kMany,
            bursts == 0 ? 0 : static_cast<double>(lost) / bursts};
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

TEST(Link, LosesTheGivenShareOfMulticastIndependently)
{
    simulation::LinkSettings settings;
    settings.multicastLossPerMillion = 300'000;
    const Losses losses = LossesOf(settings, true);
    EXPECT_NEAR(losses.share, 0.3, 0.01);
    EXPECT_NEAR(losses.meanBurst, 1 / 0.7, 0.05);
}

TEST(Link, LosesTheGivenShareOfMulticastInBursts)
{
    simulation::LinkSettings settings;
    settings.multicastLossPerMillion = 300'000;
    settings.meanBurst = 5;
    const Losses losses = LossesOf(settings, true);
    EXPECT_NEAR(losses.share, 0.3, 0.02);
    EXPECT_NEAR(losses.meanBurst, 5, 0.3);
}

TEST(Link, LosesTheGivenShareOfUnicast)
{
    simulation::LinkSettings settings;
    settings.unicastLossPerMillion = 100'000;
    EXPECT_NEAR(LossesOf(settings, false).share, 0.1, 0.01);
    EXPECT_EQ(LossesOf(settings, true).share, 0);
}

TEST(Link, DuplicatesAndDelaysTheGivenShares)
{
    simulation::LinkSettings settings;
    settings.duplicatePerMillion = 50'000;
    settings.reorderPerMillion = 100'000;
    simulation::Chance chance(1);
    simulation::Link link(settings, chance);
    int duplicates = 0;
    int delays = 0;
    Micros longest = 0;
    for (int datagram = 0; datagram < kMany; ++datagram) {
        duplicates += link.Duplicates() ? 1 : 0;
        const Micros delay = link.ReorderingDelay();
        delays += delay != 0 ? 1 : 0;
        longest = std::max(longest, delay);
    }
    EXPECT_NEAR(duplicates, kMany * 0.05, kMany * 0.005);
    EXPECT_NEAR(delays, kMany * 0.1, kMany * 0.01);
    EXPECT_LE(longest, 20'000);
    EXPECT_GT(longest, 19'000);
}
