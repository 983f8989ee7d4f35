#pragma once

#include "product/product_id.h"

#include <array>

// The maker's product list: the one place that a new product is entered in,
// apart from its board number and predicate in product_id.h. All of it is
// constant, so any thread may read it at any time.

struct ProductRow
{
    VEXBoardID_t board;
    const char *modelName; // as announced to the network; no two rows the same fuzzy form
    const char *productID; // as found in the environment or the product file
    const char *category;  // as shown to users
};

// In the order of the board numbers.
inline constexpr std::array<ProductRow, 8> kProductTable{{
    {kVEXBoardCorvia12, "Corvia 12", "corvia12", "HD recorder"},
    {kVEXBoardCorvia12Plus, "Corvia 12 Plus", "corvia12plus", "HD recorder"},
    {kVEXBoardLumen, "Lumen", "lumen", "4K encoder"},
    {kVEXBoardLumenPlus, "Lumen Plus", "lumenplus", "4K encoder"},
    {kVEXBoardTalonMx, "TalonMx", "talonmx", "Multichannel streamer"},
    {kVEXBoardTalonVt, "TalonVt", "talonvt", "Multichannel streamer"},
    {kVEXBoardZR1, "ZR1", "zr1", "Field recorder"},
    {kVEXBoardZR2, "ZR2", "zr2", "Field recorder"},
}};
