#include "ssdp/keyed_hash.h"

#include <cstddef>
#include <cstring>
#include <endian.h>

namespace ssdp {
namespace {

std::uint64_t RotateLeft(std::uint64_t word, unsigned int bits)
{
    return word << bits | word >> (64U - bits);
}

// The four words that a text is mixed into.
class SipState
{
public:
    explicit SipState(const HashKey &key)
        : mV0(key.low ^ 0x736f6d6570736575U),
          mV1(key.high ^ 0x646f72616e646f6dU),
          mV2(key.low ^ 0x6c7967656e657261U),
          mV3(key.high ^ 0x7465646279746573U)
    {
    }

    void Absorb(std::uint64_t word)
    {
        mV3 ^= word;
        Round();
        mV0 ^= word;
    }

    std::uint64_t Finish()
    {
        mV2 ^= 0xffU;
        for (int round = 0; round < 3; ++round) {
            Round();
        }
        return mV0 ^ mV1 ^ mV2 ^ mV3;
    }

private:
    void Round()
    {
        mV0 += mV1;
        mV2 += mV3;
        mV1 = RotateLeft(mV1, 13) ^ mV0;
        mV3 = RotateLeft(mV3, 16) ^ mV2;
        mV0 = RotateLeft(mV0, 32);
        mV2 += mV1;
        mV0 += mV3;
        mV1 = RotateLeft(mV1, 17) ^ mV2;
        mV3 = RotateLeft(mV3, 21) ^ mV0;
        mV2 = RotateLeft(mV2, 32);
    }

    std::uint64_t mV0;
    std::uint64_t mV1;
    std::uint64_t mV2;
    std::uint64_t mV3;
};

// Up to eight bytes as a little-endian number.
std::uint64_t WordOf(std::string_view bytes)
{
    std::uint64_t word = 0;
    if (!bytes.empty()) { // the data of an empty view may be null
        std::memcpy(&word, bytes.data(), bytes.size());
    }
    return le64toh(word);
}

} // namespace

std::uint64_t KeyedHash(const HashKey &key, std::string_view text)
{
    constexpr std::size_t kWord = sizeof(std::uint64_t);
    const std::uint64_t length = text.size();
    SipState state(key);
    for (; text.size() >= kWord; text.remove_prefix(kWord)) {
        state.Absorb(WordOf(text.substr(0, kWord)));
    }
    state.Absorb(length << 56U | WordOf(text));
    return state.Finish();
}

} // namespace ssdp
