#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// A board identifier: the number that a product's main board carries, and
// three values that no board has.
enum VEXBoardID_t : std::uint32_t {
    kVEXBoardCorvia12 = 0x10650001,
    kVEXBoardCorvia12Plus = 0x10650002,
    kVEXBoardLumen = 0x10660001,
    kVEXBoardLumenPlus = 0x10660002,
    kVEXBoardTalonMx = 0x10670001,
    kVEXBoardTalonVt = 0x10670002,
    kVEXBoardZR1 = 0x10680001,
    kVEXBoardZR2 = 0x10680002,

    kVEXBoardCurrent = 124835783,       // as an argument: the board that this process runs on
    kVEXBoardUndetermined = 0xDEADBEEF, // nobody has asked yet
    kVEXBoardUnknown = 0xFFFFFFFF,      // no product of the table; -1 to those who count signed
};

// CProductID tells which product this process runs on, and what is known of
// every product of the maker (see product_table.h). It has static members only.
//
// Threads: any thread may call any operation. Questions about a given board,
// name or product ID read the constant table alone: no lock, nothing that is
// built on first use, nothing that goes away while the process ends. The device's
// own identity is found by whoever asks first, under a lock, while other askers
// wait; answers said to be kept are made once under the compiler's guard for
// function-local statics and read without a lock from then on.
//
// Errors: none is reported by value. What cannot be found has an "unknown"
// answer, and finding the identity tells what it finds on standard error.
class CProductID
{
public:
    // The product ID text: the environment variable PRODUCT_ID or, without it,
    // the first 4096 bytes of /etc/product_id up to a NUL, less the white space
    // at their end. Looked for until found; an empty text means unknown. Sets
    // the current board.
    [[nodiscard]] static std::string getProductID();

    // The board that a product ID selects (as written: case counts), or
    // kVEXBoardUnknown. Says on standard error which.
    [[nodiscard]] static VEXBoardID_t GetBoardIDFromProductID(const std::string &productID);

    // The board that this process runs on; looks for the product ID when nobody
    // has. kVEXBoardUnknown when there is none, or it is in no table.
    [[nodiscard]] static VEXBoardID_t GetCurrentBoardID();

    // The same as eight lower-case hexadecimal digits, without "0x". The first
    // answer is kept.
    [[nodiscard]] static std::string GetCurrentBoardIDString();

    // The model name of a board; "Unknown Model" for a board that no row has,
    // kVEXBoardCurrent included.
    [[nodiscard]] static std::string GetModelNameFromBoardID(VEXBoardID_t board);

    // The model name of the board that this process runs on.
    [[nodiscard]] static std::string GetCurrentModelName();

    // What kind of device a board makes, in words for users; "Unknown Product"
    // for a board that no row has.
    [[nodiscard]] static std::string
    GetCurrentProductCategoryName(VEXBoardID_t board = kVEXBoardCurrent);

    // A name without blanks and hyphens, its ASCII capitals lowered; every
    // other byte as it is. Names of one model agree in this form however people
    // and devices write them.
    [[nodiscard]] static std::string GetFuzzyName(std::string_view name);

    // The board whose model name has the same fuzzy form, or kVEXBoardUnknown.
    // The name may be anything that came from the network.
    [[nodiscard]] static VEXBoardID_t GetBoardIDFromModelName(std::string_view name);

    // Whether a board is the model.
    [[nodiscard]] static bool isCorvia12(VEXBoardID_t board = kVEXBoardCurrent);
    [[nodiscard]] static bool isCorvia12Plus(VEXBoardID_t board = kVEXBoardCurrent);
    [[nodiscard]] static bool isLumen(VEXBoardID_t board = kVEXBoardCurrent);
    [[nodiscard]] static bool isLumenPlus(VEXBoardID_t board = kVEXBoardCurrent);
    [[nodiscard]] static bool isTalonMx(VEXBoardID_t board = kVEXBoardCurrent);
    [[nodiscard]] static bool isTalonVt(VEXBoardID_t board = kVEXBoardCurrent);
    [[nodiscard]] static bool isZR1(VEXBoardID_t board = kVEXBoardCurrent);
    [[nodiscard]] static bool isZR2(VEXBoardID_t board = kVEXBoardCurrent);

    // Whether a board is any model of the family. The first answer for the
    // current board is kept.
    [[nodiscard]] static bool isCorviaFamily(VEXBoardID_t board = kVEXBoardCurrent);
    [[nodiscard]] static bool isLumenFamily(VEXBoardID_t board = kVEXBoardCurrent);
    [[nodiscard]] static bool isTalonFamily(VEXBoardID_t board = kVEXBoardCurrent);
    [[nodiscard]] static bool isZRFamily(VEXBoardID_t board = kVEXBoardCurrent);
};
