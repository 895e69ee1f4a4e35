// A table for people: as wide as what it holds, and no wider than the terminal.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace portwright {

class Table {
public:
    enum class Align { Left, Right };
    struct Column {
        std::string title;
        Align align = Align::Left;
    };
    using Row = std::vector<std::string>;

    // The column that is made narrower where a terminal is too narrow for all.
    Table(std::vector<Column> columns, std::size_t flexible) : columns_(std::move(columns)), flexible_(flexible) {}

    void add(Row row) { rows_.push_back(std::move(row)); }
    // Prints the table on standard output.
    void print() const;

private:
    std::vector<std::size_t> widths(std::optional<std::size_t> limit) const;
    void fit(std::vector<std::size_t>& widths, std::size_t limit) const;
    std::string line(const Row& row, const std::vector<std::size_t>& widths) const;

    std::vector<Column> columns_;
    std::size_t flexible_;
    std::vector<Row> rows_;
};

} // namespace portwright
