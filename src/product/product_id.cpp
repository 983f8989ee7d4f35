#include "product/product_id.h"

#include "vexbase/vex_file_io.h"
#include "vexbase/vex_lock.h"
#include "vexbase/vex_output.h"
#include "vexbase/vex_text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <optional>

using product::kProductTable;
using product::ProductRow;
using vexbase::WriteFault;

namespace {

constexpr const char *kProductFile = "/etc/product_id";
// A wrong file must not fill the memory.
constexpr std::uint32_t kMaxProductFileBytes = 4096;

// The text of the product file, or nothing if the file does not exist. A file that cannot be
// opened is reported and counts as empty. The text ends at a NUL.
std::optional<std::string> ReadProductFile()
{
    VEXFileIO file;
    if (file.Open(kProductFile, VEXFileIO::kRead, VEXFileIO::kBuffered) != vexbase::kSuccess) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        const std::string error = std::to_string(errno);
        WriteFault({"*** getProductID: Could not open \"", kProductFile, "\" (errno:", error, ")"});
        return std::string();
    }
    std::string text(kMaxProductFileBytes, '\0');
    (void)file.Read(text.data(), kMaxProductFileBytes); // the rest stays NUL
    return text.substr(0, text.find('\0'));
}

// The product ID from the environment or the product file; empty if neither has one.
std::string FindProductID()
{
    // NOLINTNEXTLINE(concurrency-mt-unsafe): this process does not change the environment
    if (const char *variable = std::getenv("PRODUCT_ID")) {
        WriteFault({"*** getProductID: Found PRODUCT_ID env var, set to ", variable, "."});
        return variable;
    }
    WriteFault({"*** getProductID: PRODUCT_ID environment variable not set, "
                "looking in /etc/product_id"});
    std::optional<std::string> text = ReadProductFile();
    if (!text) {
        WriteFault({"*** getProductID: Nothing in /etc/product_id either.  "
                    "I need one or the other."});
        return {};
    }
    text->erase(text->find_last_not_of(" \n\r\t") + 1);
    WriteFault({"*** getProductID: file base productID=", *text});
    return *text;
}

// This device's product ID and board. Any thread may call any operation.
class Identity
{
public:
    std::string ProductID()
    {
        const vexbase::LockGuard guard(mLock);
        LookUp();
        return mProductID;
    }

    VEXBoardID_t Board()
    {
        const vexbase::LockGuard guard(mLock);
        if (mBoard == kVEXBoardUndetermined) {
            LookUp();
        }
        return mBoard;
    }

private:
    void LookUp() VEX_REQUIRES(mLock)
    {
        if (!mProductID.empty()) {
            WriteFault({"getProductID productID is ", mProductID});
            return;
        }
        WriteFault({"getProductID productID is not initialized"});
        mProductID = FindProductID();
        mBoard = CProductID::GetBoardIDFromProductID(mProductID);
    }

    VEXLock mLock;
    std::string mProductID VEX_GUARDED_BY(mLock); // empty: unknown
    VEXBoardID_t mBoard VEX_GUARDED_BY(mLock) = kVEXBoardUndetermined;
};

Identity &ThisDevice()
{
    static Identity device;
    return device;
}

VEXBoardID_t Resolved(VEXBoardID_t board)
{
    return board == kVEXBoardCurrent ? CProductID::GetCurrentBoardID() : board;
}

const ProductRow *RowOf(VEXBoardID_t board)
{
    const auto *row = std::find_if(kProductTable.begin(), kProductTable.end(),
                                   [board](const ProductRow &r) { return r.board == board; });
    return row == kProductTable.end() ? nullptr : row;
}

// The eight hexadecimal digits of a board identifier.
std::string BoardDigits(VEXBoardID_t board)
{
    std::array<char, 9> digits{};
    std::snprintf(digits.data(), digits.size(), "%08" PRIx32, std::uint32_t{board});
    return digits.data();
}

using Predicate = bool (*)(VEXBoardID_t);

// Decides whether a board is one of the members. There is one instance for each family; it
// keeps its answer for the current board.
template <Predicate... Members>
bool InFamily(VEXBoardID_t board)
{
    if (board == kVEXBoardCurrent) {
        static const bool current = InFamily<Members...>(CProductID::GetCurrentBoardID());
        return current;
    }
    return (Members(board) || ...);
}

} // namespace

std::string CProductID::getProductID()
{
    return ThisDevice().ProductID();
}

VEXBoardID_t CProductID::GetBoardIDFromProductID(const std::string &productID)
{
    for (const ProductRow &row : kProductTable) {
        if (productID == row.productID) {
            WriteFault({"GetBoardIDFromProductID: found board ID 0x", BoardDigits(row.board),
                        " for productID ", productID});
            return row.board;
        }
    }
    WriteFault(
        {"GetBoardIDFromProductID: Failed to find a board ID for productID \"", productID, "\""});
    return kVEXBoardUnknown;
}

VEXBoardID_t CProductID::GetCurrentBoardID()
{
    return ThisDevice().Board();
}

std::string CProductID::GetCurrentBoardIDString()
{
    static const std::string text = BoardDigits(GetCurrentBoardID());
    return text;
}

std::string CProductID::GetModelNameFromBoardID(VEXBoardID_t board)
{
    const ProductRow *row = RowOf(board);
    return row != nullptr ? row->modelName : "Unknown Model";
}

std::string CProductID::GetCurrentModelName()
{
    return GetModelNameFromBoardID(GetCurrentBoardID());
}

std::string CProductID::GetCurrentProductCategoryName(VEXBoardID_t board)
{
    const ProductRow *row = RowOf(Resolved(board));
    return row != nullptr ? row->category : "Unknown Product";
}

std::string CProductID::GetFuzzyName(std::string_view name)
{
    std::string fuzzy;
    for (const char c : name) {
        if (c != ' ' && c != '-') {
            fuzzy += vexbase::LowerASCII(c);
        }
    }
    return fuzzy;
}

VEXBoardID_t CProductID::GetBoardIDFromModelName(std::string_view name)
{
    const std::string wanted = GetFuzzyName(name);
    // From the end: if two models had the same fuzzy form, the later one would be found.
    const auto row =
        std::find_if(kProductTable.rbegin(), kProductTable.rend(), [&wanted](const ProductRow &r) {
            return GetFuzzyName(r.modelName) == wanted;
        });
    return row == kProductTable.rend() ? kVEXBoardUnknown : row->board;
}

bool CProductID::isCorvia12(VEXBoardID_t board)
{
    return Resolved(board) == kVEXBoardCorvia12;
}

bool CProductID::isCorvia12Plus(VEXBoardID_t board)
{
    return Resolved(board) == kVEXBoardCorvia12Plus;
}

bool CProductID::isLumen(VEXBoardID_t board)
{
    return Resolved(board) == kVEXBoardLumen;
}

bool CProductID::isLumenPlus(VEXBoardID_t board)
{
    return Resolved(board) == kVEXBoardLumenPlus;
}

bool CProductID::isTalonMx(VEXBoardID_t board)
{
    return Resolved(board) == kVEXBoardTalonMx;
}

bool CProductID::isTalonVt(VEXBoardID_t board)
{
    return Resolved(board) == kVEXBoardTalonVt;
}

bool CProductID::isZR1(VEXBoardID_t board)
{
    return Resolved(board) == kVEXBoardZR1;
}

bool CProductID::isZR2(VEXBoardID_t board)
{
    return Resolved(board) == kVEXBoardZR2;
}

bool CProductID::isCorviaFamily(VEXBoardID_t board)
{
    return InFamily<isCorvia12, isCorvia12Plus>(board);
}

bool CProductID::isLumenFamily(VEXBoardID_t board)
{
    return InFamily<isLumen, isLumenPlus>(board);
}

bool CProductID::isTalonFamily(VEXBoardID_t board)
{
    return InFamily<isTalonMx, isTalonVt>(board);
}

bool CProductID::isZRFamily(VEXBoardID_t board)
{
    return InFamily<isZR1, isZR2>(board);
}

bool CProductFeatures::canDoHTTPS()
{
    static const bool can = CProductID::isLumenFamily();
    return can;
}
