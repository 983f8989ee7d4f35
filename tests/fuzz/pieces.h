#pragma once

#include <cstdint>
#include <random>
#include <string_view>
#include <vector>

// Texts that arrive in pieces.

using Pieces = std::vector<std::string_view>;

// A text in pieces of different lengths. Equal texts are cut alike, so that a failure can be
// repeated. Some texts are cut after each byte, others into few long pieces.
inline Pieces Cut(std::string_view text)
{
    std::uint32_t seed = 0;
    for (const char c : text) {
        seed = seed * 31 + static_cast<unsigned char>(c);
    }
    std::minstd_rand random(seed);
    constexpr unsigned int kMagnitudes = 11;
    const std::size_t longest = std::size_t{1} << random() % kMagnitudes;
    Pieces pieces;
    while (!text.empty()) {
        pieces.push_back(text.substr(0, 1 + random() % longest));
        text.remove_prefix(pieces.back().size());
    }
    return pieces;
}
