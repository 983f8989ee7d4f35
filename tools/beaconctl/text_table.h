#pragma once

#include <cstddef>
#include <string>
#include <vector>

// A table of aligned columns for a terminal.
class TextTable
{
public:
    struct Column
    {
        std::string head;
        std::size_t bound; // its cells are shortened to so many columns of the terminal
    };

    explicit TextTable(std::vector<Column> columns) : mColumns(std::move(columns)) {}

    // A row with a cell for each column; cells are made safe here. mark stands in
    // front of the row, and colour (a terminal's escape, may be empty) holds for
    // the row.
    void AddRow(const std::vector<std::string> &cells, char mark = ' ',
                const std::string &colour = {});

    // The table as lines, each with its line end; with colours if asked for.
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
