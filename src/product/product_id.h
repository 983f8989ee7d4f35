#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

// A board identifier: the number of a product's main board, or one of three values that no
// board has.
enum VEXBoardID_t : std::uint32_t {
    kVEXBoardCorvia12 = 0x10650001,
    kVEXBoardCorvia12Plus = 0x10650002,
    kVEXBoardLumen = 0x10660001,
    kVEXBoardLumenPlus = 0x10660002,
    kVEXBoardTalonMx = 0x10670001,
    kVEXBoardTalonVt = 0x10670002,
    kVEXBoardZR1 = 0x10680001,
    kVEXBoardZR2 = 0x10680002,

    kVEXBoardCurrent = 124835783,       // as an argument: this device's board
    kVEXBoardUndetermined = 0xDEADBEEF, // this device's board has not been looked up yet
    kVEXBoardUnknown = 0xFFFFFFFF,      // no product of the table; -1 as a signed number
};

namespace product {

struct ProductRow
{
    VEXBoardID_t board;
    const char *modelName; // as announced; no two rows have the same fuzzy form
    const char *productID; // as in the environment or the product file
    const char *category;  // for users
};

// The maker's products in the order of their boards. A new product needs a row here, a
// number above, and a predicate below. Constant, so any thread may read it at any time.
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

} // namespace product

// CProductID identifies this device's product, and has the data of all products. It has
// static members only.
//
// Threads: any thread may call any operation. Operations on a given board, name or product
// ID read only the constant table and take no lock. This device's identity is looked up
// under a lock; a second caller waits. Answers that are "kept" are computed by the first
// call and never change.
//
// Failures: an operation that finds nothing returns a value that means "unknown"; none
// returns a status or throws. The look-up of this device's identity writes its steps to
// standard error.
class CProductID
{
public:
    // This device's product ID: the environment variable PRODUCT_ID or, without it, the
    // first 4096 bytes of /etc/product_id up to a NUL, without white space at their end.
    // Empty if unknown; then the next call looks again. Also finds the current board.
    [[nodiscard]] static std::string getProductID();

    // The board of a product ID (case matters), or kVEXBoardUnknown. Writes the result to
    // standard error.
    [[nodiscard]] static VEXBoardID_t GetBoardIDFromProductID(const std::string &productID);

    // This device's board; looks the product ID up if necessary. kVEXBoardUnknown if there
    // is no product ID or if the table does not have it.
    [[nodiscard]] static VEXBoardID_t GetCurrentBoardID();

    // This device's board as eight lower-case hexadecimal digits, without "0x". Kept.
    [[nodiscard]] static std::string GetCurrentBoardIDString();

    // The model name of a board; "Unknown Model" for a board that is not in the table, and
    // for kVEXBoardCurrent.
    [[nodiscard]] static std::string GetModelNameFromBoardID(VEXBoardID_t board);

    // This device's model name.
    [[nodiscard]] static std::string GetCurrentModelName();

    // The category of a board, for users; "Unknown Product" for a board that is not in the
    // table.
    [[nodiscard]] static std::string
    GetCurrentProductCategoryName(VEXBoardID_t board = kVEXBoardCurrent);

    // The fuzzy form of a name: without spaces and hyphens, with ASCII letters in lower
    // case; other bytes are kept. Spellings of one model name have the same fuzzy form.
    [[nodiscard]] static std::string GetFuzzyName(std::string_view name);

    // The board whose model name has the same fuzzy form, or kVEXBoardUnknown. The name may
    // contain any bytes.
    [[nodiscard]] static VEXBoardID_t GetBoardIDFromModelName(std::string_view name);

    // Whether a board is the board of this model.
    [[nodiscard]] static bool isCorvia12(VEXBoardID_t board = kVEXBoardCurrent);
    [[nodiscard]] static bool isCorvia12Plus(VEXBoardID_t board = kVEXBoardCurrent);
    [[nodiscard]] static bool isLumen(VEXBoardID_t board = kVEXBoardCurrent);
    [[nodiscard]] static bool isLumenPlus(VEXBoardID_t board = kVEXBoardCurrent);
    [[nodiscard]] static bool isTalonMx(VEXBoardID_t board = kVEXBoardCurrent);
    [[nodiscard]] static bool isTalonVt(VEXBoardID_t board = kVEXBoardCurrent);
    [[nodiscard]] static bool isZR1(VEXBoardID_t board = kVEXBoardCurrent);
    [[nodiscard]] static bool isZR2(VEXBoardID_t board = kVEXBoardCurrent);

    // Whether a board belongs to a model of the family. The answer for the current board is
    // kept.
    [[nodiscard]] static bool isCorviaFamily(VEXBoardID_t board = kVEXBoardCurrent);
    [[nodiscard]] static bool isLumenFamily(VEXBoardID_t board = kVEXBoardCurrent);
    [[nodiscard]] static bool isTalonFamily(VEXBoardID_t board = kVEXBoardCurrent);
    [[nodiscard]] static bool isZRFamily(VEXBoardID_t board = kVEXBoardCurrent);
};

// CProductFeatures reports the features of this device. It has static members only, which any
// thread may call; no operation fails.
class CProductFeatures
{
public:
    // Whether the device's web server offers HTTPS: true for the Lumen family. Kept.
    [[nodiscard]] static bool canDoHTTPS();
};
