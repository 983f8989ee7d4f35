#include "ssdp/known_alives.h"

#include "messages.h"
#include "ssdp/ssdp_tunables.h"

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

// In each round, keeps the datagrams that are not kept yet.
std::size_t FoundInTheThirdRound(const std::vector<std::string> &datagrams)
{
    KnownAlives alives;
    std::size_t found = 0;
    for (int round = 0; round < 3; ++round) {
        found = 0;
        for (const std::string &datagram : datagrams) {
            if (Find(alives, datagram) != nullptr) {
                ++found;
            } else {
                alives.Keep(datagram, kMost);
            }
        }
    }
    return found;
}

} // namespace

TEST(KnownAlives, FindsTheHeadersOfADatagramThatIsKept)
{
    KnownAlives alives;
    const std::string datagram = Alive("Lumen");
    EXPECT_EQ(Find(alives, datagram), nullptr);
    alives.Keep(std::string(datagram), kMost);
    const formats::SSDPHeaders *headers = Find(alives, datagram);
    ASSERT_NE(headers, nullptr);
    EXPECT_EQ(headers->notify.nt, "upnp:rootdevice");
    EXPECT_EQ(headers->notify.usn, test::UsnOf("Lumen", test::kPeerAddress));
    EXPECT_EQ(headers->notify.location, test::kLumen);
    EXPECT_EQ(headers->searchTarget, "");
    EXPECT_EQ(headers->kind, NTSKind::Alive);
    EXPECT_EQ(headers->maxAge, 1800);
}

TEST(KnownAlives, FindsNoDatagramThatDiffersInOneByte)
{
    KnownAlives alives;
    std::string datagram = Alive("Lumen");
    alives.Keep(datagram, kMost);
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
        alives.Keep(zeros, kMost);
        EXPECT_NE(Find(alives, zeros), nullptr) << size;
        EXPECT_EQ(Find(alives, zeros + '\0'), nullptr) << size;
    }
}

TEST(KnownAlives, KeepsDatagramsOfUpTo512Bytes)
{
    KnownAlives alives;
    alives.Keep(AliveOf(512), kMost);
    alives.Keep(AliveOf(513), kMost);
    EXPECT_NE(Find(alives, AliveOf(512)), nullptr);
    EXPECT_EQ(Find(alives, AliveOf(513)), nullptr);
}

// When the index grows, it forgets all datagrams. After the first round it does not grow.
TEST(KnownAlives, FindsNearlyAllOfThousandsOfDatagramsThatHaveComeTwice)
{
    std::vector<std::string> datagrams;
    for (std::size_t number = 0; number < kMost; ++number) {
        datagrams.push_back(Alive("Lumen" + std::to_string(number)));
    }
    EXPECT_GT(FoundInTheThirdRound(datagrams), kMost * 98 / 100);
}

// A multiplication does not carry the highest bits of a word into the bits that choose the
// slot.
TEST(KnownAlives, FindsDatagramsThatDifferInTheLastByteOfAWord)
{
    std::vector<std::string> datagrams;
    for (char last = 'a'; last <= 'z'; ++last) {
        datagrams.push_back(std::string(7, 'x') + last);
    }
    EXPECT_EQ(FoundInTheThirdRound(datagrams), datagrams.size());
}

TEST(KnownAlives, ForgetsAllOthersWhenTheMostAreKept)
{
    KnownAlives alives;
    alives.Keep("a", 2);
    alives.Keep("b", 2);
    EXPECT_NE(Find(alives, "a"), nullptr);
    alives.Keep("c", 2);
    EXPECT_EQ(Find(alives, "a"), nullptr);
    EXPECT_EQ(Find(alives, "b"), nullptr);
    EXPECT_NE(Find(alives, "c"), nullptr);
}

TEST(KnownAlives, KeepsNothingIfNothingMayBeKept)
{
    KnownAlives alives;
    alives.Keep("a", 0);
    EXPECT_EQ(Find(alives, "a"), nullptr);
}

TEST(KnownAlives, ForgetsAllWhenMoreThanTheLimitAreKept)
{
    KnownAlives alives;
    alives.Keep("a", kMost);
    alives.Keep("b", kMost);
    alives.Limit(2);
    EXPECT_NE(Find(alives, "a"), nullptr);
    alives.Limit(1);
    EXPECT_EQ(Find(alives, "a"), nullptr);
    EXPECT_EQ(Find(alives, "b"), nullptr);
}
