#include "beaconctl/terminal_text.h"

#include "formats/utf8.h"

#include <QChar>
#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

namespace beaconctl {
namespace {

using formats::Character;
using formats::TakeCharacter;

// Control and format characters: they act on the text around them, or are invisible. The two
// ranges also contain characters that Unicode has reserved for the same use.
bool IsActive(char32_t character)
{
    const QChar::Category category = QChar::category(static_cast<uint>(character));
    return category == QChar::Other_Control || category == QChar::Other_Format ||
           category == QChar::Separator_Line || category == QChar::Separator_Paragraph ||
           (character >= 0x2060 && character <= 0x206F) ||
           (character >= 0xE0000 && character <= 0xE0FFF);
}

void AppendEscape(std::string &text, const Character &character)
{
    std::array<char, 16> escape{};
    const bool byte = !character.valid || character.code < 0x80;
    std::snprintf(escape.data(), escape.size(), byte ? "\\x%02x" : "\\u{%04x}",
                  static_cast<unsigned int>(character.code));
    text += escape.data();
}

struct Range
{
    char32_t first;
    char32_t last;
};

// The characters that are two columns wide (Unicode Standard Annex 11, "East Asian
// Width"), in order. From U+2E80 on, the ranges contain some narrow characters, too. If a narrow
// character counts as wide, a text is only shortened a little earlier; if a wide one counted as
// narrow, it would push other columns off the screen.
constexpr std::array<Range, 47> kWide{
    {{0x1100, 0x115F},   {0x231A, 0x231B},   {0x2329, 0x232A},  {0x23E9, 0x23EC},
     {0x23F0, 0x23F0},   {0x23F3, 0x23F3},   {0x25FD, 0x25FE},  {0x2614, 0x2615},
     {0x2648, 0x2653},   {0x267F, 0x267F},   {0x2693, 0x2693},  {0x26A1, 0x26A1},
     {0x26AA, 0x26AB},   {0x26BD, 0x26BE},   {0x26C4, 0x26C5},  {0x26CE, 0x26CE},
     {0x26D4, 0x26D4},   {0x26EA, 0x26EA},   {0x26F2, 0x26F3},  {0x26F5, 0x26F5},
     {0x26FA, 0x26FA},   {0x26FD, 0x26FD},   {0x2705, 0x2705},  {0x270A, 0x270B},
     {0x2728, 0x2728},   {0x274C, 0x274C},   {0x274E, 0x274E},  {0x2753, 0x2755},
     {0x2757, 0x2757},   {0x2795, 0x2797},   {0x27B0, 0x27B0},  {0x27BF, 0x27BF},
     {0x2B1B, 0x2B1C},   {0x2B50, 0x2B50},   {0x2B55, 0x2B55},  {0x2E80, 0x303E},
     {0x3040, 0xA4CF},   {0xA960, 0xA97C},   {0xAC00, 0xD7A3},  {0xF900, 0xFAFF},
     {0xFE10, 0xFE6F},   {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},  {0x16FE0, 0x1B2FB},
     {0x1D300, 0x1D37F}, {0x1F000, 0x1FAFF}, {0x20000, 0x3FFFD}}};

bool IsWide(char32_t c)
{
    const auto range = std::lower_bound(
        kWide.begin(), kWide.end(), c, [](const Range &each, char32_t x) { return each.last < x; });
    return range != kWide.end() && range->first <= c;
}

bool IsCombining(char32_t c)
{
    return QChar::category(static_cast<uint>(c)) == QChar::Mark_NonSpacing ||
           QChar::category(static_cast<uint>(c)) == QChar::Mark_Enclosing;
}

std::size_t Columns(char32_t character)
{
    return IsCombining(character) ? 0 : IsWide(character) ? 2 : 1;
}

// Appends a UTF-16 unit as JSON escapes it.
void AppendUnit(std::string &json, char32_t unit)
{
    std::array<char, 8> escape{};
    std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned int>(unit));
    json += escape.data();
}

constexpr const char *kNormal = "\x1b[0m";
constexpr std::size_t kGap = 2;

using Widths = std::vector<std::size_t>;

void Widen(Widths &widths, const std::vector<std::string> &cells)
{
    for (std::size_t column = 0; column < cells.size(); ++column) {
        widths[column] = std::max(widths[column], DisplayWidth(cells[column]));
    }
}

// A line of the cells, all but the last padded to the width of their columns.
std::string Line(const std::vector<std::string> &cells, const Widths &widths)
{
    std::string line;
    for (std::size_t column = 0; column < cells.size(); ++column) {
        line += cells[column];
        if (column + 1 < cells.size()) {
            line.append(widths[column] - DisplayWidth(cells[column]) + kGap, ' ');
        }
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

constexpr const char *kHome = "\x1b[H";
constexpr const char *kEndOfLine = "\x1b[K\n"; // erases the rest of the former line
constexpr const char *kClearBelow = "\x1b[J";
constexpr const char *kCutLines = "\x1b[?7l";

// The head, an empty line, and the line of the cursor.
constexpr std::size_t kOtherLines = 3;

// The lines of a table for which a screen of this height has room: at least two.
std::size_t Room(std::size_t height)
{
    return std::max(height, kOtherLines + 2) - kOtherLines;
}

std::size_t LineCount(std::string_view table)
{
    return static_cast<std::size_t>(std::count(table.begin(), table.end(), '\n'));
}

} // namespace

std::string SafeText(std::string_view text)
{
    std::string safe;
    safe.reserve(text.size());
    while (!text.empty()) {
        const Character character = TakeCharacter(text);
        if (!character.valid || IsActive(character.code)) {
            AppendEscape(safe, character);
        } else if (character.code == '\\') {
            safe += "\\\\";
        } else {
            safe += character.bytes;
        }
    }
    return safe;
}

std::string SafeJson(std::string_view json)
{
    std::string safe;
    safe.reserve(json.size());
    while (!json.empty()) {
        const Character character = TakeCharacter(json);
        if (!IsActive(character.code)) {
            safe += character.bytes;
        } else if (character.code < 0x10000) {
            AppendUnit(safe, character.code);
        } else {
            AppendUnit(safe, QChar::highSurrogate(static_cast<uint>(character.code)));
            AppendUnit(safe, QChar::lowSurrogate(static_cast<uint>(character.code)));
        }
    }
    return safe;
}

std::size_t DisplayWidth(std::string_view safeText)
{
    std::size_t width = 0;
    while (!safeText.empty()) {
        width += Columns(TakeCharacter(safeText).code);
    }
    return width;
}

std::string Shorten(const std::string &safeText, std::size_t columns)
{
    constexpr std::string_view kCut = "...";
    std::string_view rest = safeText;
    std::size_t width = 0;
    std::size_t characters = 0;
    std::size_t kept = 0; // bytes that leave room for kCut
    while (!rest.empty()) {
        width += Columns(TakeCharacter(rest).code);
        if (width + kCut.size() <= columns) {
            kept = safeText.size() - rest.size();
        }
        if (width > columns || ++characters > 2 * columns) {
            return safeText.substr(0, kept).append(kCut);
        }
    }
    return safeText;
}

void TextTable::AddRow(const std::vector<std::string> &cells, char mark, const std::string &colour)
{
    Row row{{}, mark, colour};
    std::transform(cells.begin(), cells.end(), mColumns.begin(), std::back_inserter(row.cells),
                   [](const std::string &cell, const Column &column) {
                       return Shorten(SafeText(cell), column.bound);
                   });
    mRows.push_back(std::move(row));
}

std::string TextTable::Text(bool colours) const
{
    std::vector<std::string> heads;
    heads.reserve(mColumns.size());
    for (const Column &column : mColumns) {
        heads.push_back(column.head);
    }
    Widths widths(heads.size());
    Widen(widths, heads);
    for (const Row &row : mRows) {
        Widen(widths, row.cells);
    }
    std::string text = "  " + Line(heads, widths) + '\n';
    for (const Row &row : mRows) {
        const bool coloured = colours && !row.colour.empty();
        text += coloured ? row.colour : std::string();
        text += std::string(1, row.mark) + ' ' + Line(row.cells, widths);
        text += coloured ? kNormal : "";
        text += '\n';
    }
    return text;
}

bool FitsOnScreen(std::size_t lines, std::size_t height)
{
    return height == 0 || lines <= Room(height);
}

std::string ScreenText(const std::string &head, const std::string &table, std::size_t height)
{
    const std::size_t lines = LineCount(table);
    // If they do not fit, the last line of the screen says how many lines are missing.
    const std::size_t shown = FitsOnScreen(lines, height) ? lines : Room(height) - 1;
    std::string screen = std::string(kCutLines) + kHome + head + kEndOfLine + kEndOfLine;
    std::string_view rest = table;
    for (std::size_t line = 0; line < shown; ++line) {
        const std::size_t end = rest.find('\n');
        screen.append(rest.substr(0, end)).append(kEndOfLine);
        rest.remove_prefix(end + 1);
    }
    if (shown < lines) {
        screen += "  and " + std::to_string(lines - shown) + " more" + kEndOfLine;
    }
    return screen.append(kClearBelow).append(kWrapLines);
}

} // namespace beaconctl
