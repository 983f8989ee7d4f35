#include "beaconctl/text_table.h"

#include "beaconctl/safe_text.h"

#include <algorithm>

namespace {

constexpr const char *kNormal = "\x1b[0m";
constexpr std::size_t kGap = 2;

using Widths = std::vector<std::size_t>;

void Widen(Widths &widths, const std::vector<std::string> &cells)
{
    for (std::size_t column = 0; column < cells.size(); ++column) {
        widths[column] = std::max(widths[column], DisplayWidth(cells[column]));
    }
}

// The cells padded to their columns, but for the last.
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

} // namespace

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
