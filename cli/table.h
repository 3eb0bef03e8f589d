#ifndef UKEYCTL_TABLE_H
#define UKEYCTL_TABLE_H

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

// Rows of cells: a list of objects for scripts, columns under headings for people.
struct Table {
    // Without a heading a column is for scripts only.
    struct Column {
        std::string key;
        std::string heading;
    };
    // Nothing, for what could not be had.
    using Cell = std::variant<std::monostate, std::string, int64_t>;

    std::vector<Column> columns;
    std::vector<std::vector<Cell>> rows;  // each as long as there are columns
};

// Aligned lines; nothing without a row.
std::string ShowTable(const Table& table);

#endif
