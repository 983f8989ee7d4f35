#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Texts from the network for terminals: safe texts, tables and screens. Pure functions.
namespace beaconctl {

// A text in which no character moves the cursor, or colours, reverses or hides the text
// around it: control characters, direction marks and bytes that are not UTF-8 become
// escapes such as \x1b and \u{202e}; a backslash is doubled.
[[nodiscard]] std::string SafeText(std::string_view text);

// A JSON text (RFC 8259, valid UTF-8), in which the characters that SafeText would escape are
// written as \u and four digits.
[[nodiscard]] std::string SafeJson(std::string_view json);

// The number of columns of a text from SafeText on a terminal.
[[nodiscard]] std::size_t DisplayWidth(std::string_view safeText);

// A text from SafeText, shortened to at most this number of columns (3 or more): the end of
// a longer text is replaced by "...". A text with more than two characters for each column is
// shortened, too: some characters take no column.
[[nodiscard]] std::string Shorten(const std::string &safeText, std::size_t columns);

// A table of aligned columns.
class TextTable
{
public:
    struct Column
    {
        std::string head;
        std::size_t bound; // columns of the terminal; longer cells are shortened
    };

    explicit TextTable(std::vector<Column> columns) : mColumns(std::move(columns)) {}

    // Adds a row with one cell for each column. Cells need not be safe texts. mark is
    // printed before the row; colour (an escape sequence, may be empty) applies to the
    // row.
    void AddRow(const std::vector<std::string> &cells, char mark = ' ',
                const std::string &colour = {});

    // The table as lines, each with its line end; in colour if wanted.
    [[nodiscard]] std::string Text(bool colours) const;

private:
    struct Row
    {
        std::vector<std::string> cells;
        char mark;
        std::string colour;
    };

    std::vector<Column> mColumns;
    std::vector<Row> mRows;
};

// Makes a terminal wrap long lines again. Each ScreenText ends with it.
constexpr std::string_view kWrapLines = "\x1b[?7h";

// Whether ScreenText shows all lines of a table, including the line with the names of its
// columns, on a terminal of this height (0: not known).
[[nodiscard]] bool FitsOnScreen(std::size_t lines, std::size_t height);

// Escape sequences that redraw a heading and a table in place. Lines are cut at the width
// of the terminal, and rows beyond its height (0: not known) are replaced by their number:
// otherwise each drawing would scroll the one before out of view.
[[nodiscard]] std::string ScreenText(const std::string &head, const std::string &table,
                                     std::size_t height);

} // namespace beaconctl
