#include "ssdp/known_alives.h"

#include "messages.h"
#include "ssdp/ssdp_tunables.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using formats::NTSKind;
using ssdp::KnownAlives;

namespace {

constexpr std::size_t kMost = 4096;

std::string Alive(const std::string &product)
{
    return test::PeerNotify("ssdp:alive", product, test::kLumen);
}

std::string AliveOf(std::size_t size)
{
    const std::string start = Alive("Lumen");
    return start + std::string(size - start.size(), 'x');
}

// Copies the text into memory of exactly its size: AddressSanitizer finds a read beyond it.
const formats::SSDPHeaders *Find(const KnownAlives &alives, std::string_view text)
{
    const std::vector<char> exact(text.begin(), text.end());
    return alives.Find({exact.data(), exact.size()});
}

// Keeps a datagram whose own memory is freed afterwards.
void Keep(KnownAlives &alives, const std::string &datagram, std::size_t most = kMost)
{
    const std::vector<char> exact(datagram.begin(), datagram.end());
    const std::string_view text(exact.data(), exact.size());
    alives.Keep(text, formats::ScanHeaders(text), most);
}

std::vector<std::string> DatagramsOf(std::size_t devices)
{
    std::vector<std::string> datagrams;
    for (std::size_t number = 0; number < devices; ++number) {
        datagrams.push_back(Alive("Lumen" + std::to_string(number)));
    }
    return datagrams;
}

std::size_t Found(const KnownAlives &alives, const std::vector<std::string> &datagrams)
{
    const auto found =
        std::count_if(datagrams.begin(), datagrams.end(), [&alives](const std::string &datagram) {
            return Find(alives, datagram) != nullptr;
        });
    return static_cast<std::size_t>(found);
}

// A text of 16 bytes. All these texts have the same hash; anybody can calculate them.
std::string OfTheSameHash(std::uint64_t number)
{
    constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15U;
    constexpr std::uint64_t kLength = 16;
    const std::array<std::uint64_t, 2> words{number,
                                             ((kLength ^ 1U) - (kLength ^ number)) * kFactor};
    std::string text(sizeof words, '\0');
    std::memcpy(text.data(), words.data(), sizeof words);
    return text;
}

} // namespace

TEST(MostKnownAlives, AreAnEighthAnd16MoreThanTheDevices)
{
    EXPECT_EQ(ssdp::MostKnownAlives(0), 16U);
    EXPECT_EQ(ssdp::MostKnownAlives(7), 23U);
    EXPECT_EQ(ssdp::MostKnownAlives(8), 25U);
    EXPECT_EQ(ssdp::MostKnownAlives(4096), 4624U);
}

TEST(KnownAlives, FindsTheHeadersOfADatagramThatIsKept)
{
    KnownAlives alives;
    const std::string datagram = Alive("Lumen") + "ST: a target\r\n";
    EXPECT_EQ(Find(alives, datagram), nullptr);
    Keep(alives, datagram);
    const formats::SSDPHeaders *headers = Find(alives, datagram);
    ASSERT_NE(headers, nullptr);
    EXPECT_EQ(headers->notify.nt, "upnp:rootdevice");
    EXPECT_EQ(headers->notify.usn, test::UsnOf("Lumen", test::kPeerAddress));
    EXPECT_EQ(headers->notify.location, test::kLumen);
    EXPECT_EQ(headers->searchTarget, "a target");
    EXPECT_EQ(headers->kind, NTSKind::Alive);
    EXPECT_EQ(headers->maxAge, 1800);
}

TEST(KnownAlives, KeepsItsOwnCopyOfTheHeaders)
{
    KnownAlives alives;
    std::string memory = Alive("Lumen");
    alives.Keep(memory, formats::ScanHeaders(memory), kMost);
    std::fill(memory.begin(), memory.end(), '?');
    const formats::SSDPHeaders *headers = Find(alives, Alive("Lumen"));
    ASSERT_NE(headers, nullptr);
    EXPECT_EQ(headers->notify.usn, test::UsnOf("Lumen", test::kPeerAddress));
}

TEST(KnownAlives, FindsNoDatagramThatDiffersInOneByte)
{
    KnownAlives alives;
    std::string datagram = Alive("Lumen");
    Keep(alives, datagram);
    for (char &byte : datagram) {
        const char former = byte;
        for (const int bit : {1, 0x80}) {
            byte = static_cast<char>(former ^ bit);
            EXPECT_EQ(Find(alives, datagram), nullptr) << datagram;
        }
        byte = former;
    }
    EXPECT_NE(Find(alives, datagram), nullptr);
}

// The hash pads a datagram with zeros.
TEST(KnownAlives, FindsNoDatagramWithOneMoreZeroAtItsEnd)
{
    for (std::size_t size = 0; size <= ssdp::kMaxKnownAliveBytes; ++size) {
        KnownAlives alives;
        const std::string zeros(size, '\0');
        Keep(alives, zeros);
        EXPECT_NE(Find(alives, zeros), nullptr) << size;
        EXPECT_EQ(Find(alives, zeros + '\0'), nullptr) << size;
    }
}

TEST(KnownAlives, KeepsDatagramsOfUpTo512Bytes)
{
    KnownAlives alives;
    Keep(alives, AliveOf(512));
    Keep(alives, AliveOf(513));
    EXPECT_NE(Find(alives, AliveOf(512)), nullptr);
    EXPECT_EQ(Find(alives, AliveOf(513)), nullptr);
}

TEST(KnownAlives, FindsNoOtherDatagramOfTheSameHash)
{
    KnownAlives alives;
    Keep(alives, OfTheSameHash(1));
    EXPECT_NE(Find(alives, OfTheSameHash(1)), nullptr);
    EXPECT_EQ(Find(alives, OfTheSameHash(2)), nullptr);
}

TEST(KnownAlives, KeepsAtMost16DatagramsOfTheSameHash)
{
    std::vector<std::string> datagrams;
    KnownAlives alives;
    for (std::uint64_t number = 1; number <= 20; ++number) {
        datagrams.push_back(OfTheSameHash(number));
        Keep(alives, datagrams.back());
    }
    EXPECT_EQ(Found(alives, datagrams), 16U);
    EXPECT_NE(Find(alives, datagrams.back()), nullptr);
    alives.Limit(8);
    EXPECT_EQ(Found(alives, datagrams), 8U);
}

TEST(KnownAlives, FindsNearlyAllOfThousandsOfDatagrams)
{
    const std::vector<std::string> datagrams = DatagramsOf(kMost);
    KnownAlives alives;
    for (const std::string &datagram : datagrams) {
        Keep(alives, datagram);
    }
    EXPECT_GT(Found(alives, datagrams), kMost * 999 / 1000);
}

// A multiplication does not carry the highest bits of a word into the bits that choose the
// slot.
TEST(KnownAlives, FindsDatagramsThatDifferInTheLastByteOfAWord)
{
    std::vector<std::string> datagrams;
    KnownAlives alives;
    for (char last = 'a'; last <= 'z'; ++last) {
        datagrams.push_back(std::string(7, 'x') + last);
        Keep(alives, datagrams.back());
    }
    EXPECT_EQ(Found(alives, datagrams), datagrams.size());
}

TEST(KnownAlives, ForgetsAnotherWhenAsManyAsAllowedAreKept)
{
    const std::vector<std::string> datagrams = DatagramsOf(100);
    KnownAlives alives;
    for (const std::string &datagram : datagrams) {
        Keep(alives, datagram, 60);
        EXPECT_NE(Find(alives, datagram), nullptr);
    }
    EXPECT_EQ(Found(alives, datagrams), 60U);
}

TEST(KnownAlives, ForgetsEachInItsTurn)
{
    const std::vector<std::string> first = DatagramsOf(60);
    KnownAlives alives;
    for (const std::string &datagram : first) {
        Keep(alives, datagram, first.size());
    }
    for (int number = 0; number < 600; ++number) {
        Keep(alives, Alive("Talon" + std::to_string(number)), first.size());
    }
    EXPECT_EQ(Found(alives, first), 0U);
}

TEST(KnownAlives, ForgetsDatagramsBeyondTheLimit)
{
    const std::vector<std::string> datagrams = DatagramsOf(100);
    KnownAlives alives;
    for (const std::string &datagram : datagrams) {
        Keep(alives, datagram);
    }
    alives.Limit(100);
    EXPECT_EQ(Found(alives, datagrams), 100U);
    alives.Limit(60);
    EXPECT_EQ(Found(alives, datagrams), 60U);
    alives.Limit(10);
    EXPECT_EQ(Found(alives, datagrams), 10U);
    alives.Limit(0);
    EXPECT_EQ(Found(alives, datagrams), 0U);
    for (const std::string &datagram : datagrams) {
        Keep(alives, datagram);
    }
    EXPECT_EQ(Found(alives, datagrams), 100U);
}
