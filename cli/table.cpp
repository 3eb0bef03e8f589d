#include "cli/table.h"

#include <algorithm>
#include <cstdio>

#include "cli/printable.h"
#include "cli/words.h"

namespace cli {
namespace {

constexpr size_t kGap = 2;

struct ShowCell {
    std::string operator()(std::monostate /*none*/) const { return "-"; }
    std::string operator()(const std::string& text) const { return text; }
    std::string operator()(int64_t number) const { return std::to_string(number); }
    std::string operator()(double number) const {
        char text[32];
        std::snprintf(text, sizeof text, "%.3f", number);
        return text;
    }
    std::string operator()(const Table::Named& values) const {
        std::string joined;
        for (const auto& [name, value] : values) {
            joined += (joined.empty() ? "" : ", ") + name + "=" + std::visit(ShowCell{}, value);
        }
        return joined;
    }
};

using Cells = std::vector<std::string>;

// The first line has the headings.
std::string Aligned(std::vector<Cells> lines, std::vector<size_t> widths, Headings headings) {
    for (Cells& line : lines) {
        for (size_t i = 0; i < line.size(); ++i) {
            line[i] = Printable(line[i]);
            widths[i] = std::max(widths[i], Columns(line[i]));
        }
    }
    if (headings == Headings::kShownBefore) {
        lines.erase(lines.begin());
    }
    std::string text;
    for (const Cells& line : lines) {
        std::string shown;
        for (size_t i = 0; i < line.size(); ++i) {
            shown += line[i] + std::string(widths[i] - Columns(line[i]) + kGap, ' ');
        }
        text += shown.substr(0, shown.find_last_not_of(' ') + 1) + "\n";
    }
    return text;
}

}  // namespace

std::string InColumns(const Cells& headings, const std::vector<Cells>& rows) {
    std::vector<Cells> lines{Cells()};
    for (const std::string& heading : headings) {
        lines.front().push_back(Say(heading));
    }
    lines.insert(lines.end(), rows.begin(), rows.end());
    return Aligned(std::move(lines), std::vector<size_t>(headings.size()), Headings::kShown);
}

std::string ShowTable(const Table& table, Headings headings) {
    if (table.rows.empty()) {
        return {};
    }
    std::vector<Cells> lines(table.rows.size() + 1);
    std::vector<size_t> widths;
    for (size_t i = 0; i < table.columns.size(); ++i) {
        if (table.columns[i].heading.empty()) {
            continue;
        }
        widths.push_back(table.columns[i].width);
        lines.front().push_back(Say(table.columns[i].heading));
        for (size_t row = 0; row < table.rows.size(); ++row) {
            lines[row + 1].push_back(std::visit(ShowCell{}, table.rows[row][i]));
        }
    }
    return Aligned(std::move(lines), std::move(widths), headings);
}

}  // namespace cli
