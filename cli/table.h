#ifndef CLI_TABLE_H
#define CLI_TABLE_H

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace cli {

// Cells under headings, which are said in the user's language, in columns as wide as their widest
// cell; each row is as long as there are headings. What a key brings into a cell cannot disturb the
// terminal.
std::string InColumns(const std::vector<std::string>& headings,
                      const std::vector<std::vector<std::string>>& rows);

// Rows of cells: a list of objects for scripts, columns under headings for people.
struct Table {
    // Without a heading a column is for scripts only, without a key for people.
    struct Column {
        std::string key;
        std::string heading;
        size_t width = 0;  // at least
    };
    // An object for scripts.
    using Named = std::vector<std::pair<std::string, std::variant<std::string, int64_t>>>;
    // Nothing, for what could not be had.
    using Cell = std::variant<std::monostate, std::string, int64_t, double, Named>;

    std::vector<Column> columns;
    std::vector<std::vector<Cell>> rows;  // each as long as there are columns
};

// Whether the headings stand above, or above the rows that were shown before these.
enum class Headings { kShown, kShownBefore };

// Aligned lines; nothing without a row.
std::string ShowTable(const Table& table, Headings headings = Headings::kShown);

}  // namespace cli

#endif
