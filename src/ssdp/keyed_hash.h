#pragma once

#include <cstdint>
#include <string_view>

namespace ssdp {

// The key of a hash.
struct HashKey
{
    std::uint64_t low = 0;
    std::uint64_t high = 0;
};

// SipHash-1-3 of a text (Aumasson and Bernstein, "SipHash: a fast short-input
// PRF"): whoever does not know the key cannot find texts whose hashes collide,
// or share many of their bits.
[[nodiscard]] std::uint64_t KeyedHash(const HashKey &key, std::string_view text);

} // namespace ssdp
