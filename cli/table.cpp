#include "table.h"

#include <algorithm>

#include "cli/printable.h"

namespace {

struct ShowCell {
    std::string operator()(std::monostate /*none*/) const { return "-"; }
    std::string operator()(const std::string& text) const { return cli::Printable(text); }
    std::string operator()(int64_t number) const { return std::to_string(number); }
};

using Lines = std::vector<std::string>;

// Puts a column's cells behind the lines, all of which are made equally long first.
void Append(Lines& lines, const Lines& cells) {
    size_t width = 0;
    for (const std::string& line : lines) {
        width = std::max(width, cli::Columns(line));
    }
    for (size_t i = 0; i < lines.size(); ++i) {
        const size_t gap = width == 0 ? 0 : width + 2 - cli::Columns(lines[i]);
        lines[i] += std::string(gap, ' ') + cells[i];
    }
}

}  // namespace

std::string ShowTable(const Table& table) {
    if (table.rows.empty()) {
        return {};
    }
    Lines lines(table.rows.size() + 1);
    for (size_t i = 0; i < table.columns.size(); ++i) {
        if (table.columns[i].heading.empty()) {
            continue;
        }
        Lines cells{table.columns[i].heading};
        for (const std::vector<Table::Cell>& row : table.rows) {
            cells.push_back(std::visit(ShowCell{}, row[i]));
        }
        Append(lines, cells);
    }
    std::string text;
    for (const std::string& line : lines) {
        text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
    }
    return text;
}
