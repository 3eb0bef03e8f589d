#include "key_list.h"

#include "cli/words.h"

namespace {

cli::Table::Cell CellOf(const std::string& text) {
    return text.empty() ? cli::Table::Cell() : cli::Table::Cell(text);
}

}  // namespace

cli::Table TableOf(const std::vector<LabelledKey>& keys) {
    cli::Table table{
        {{"slot", "SLOT"}, {"serial_number", "SERIAL NUMBER"}, {"label", "LABEL"}, {"problem", ""}},
        {}};
    for (const LabelledKey& one : keys) {
        table.rows.push_back({int64_t{one.key.slot}, CellOf(one.key.serial_number),
                              one.label ? cli::Table::Cell(*one.label) : cli::Table::Cell(),
                              CellOf(one.key.problem)});
    }
    return table;
}

void SayWhatIsMissing(Report& report, const std::vector<LabelledKey>& keys) {
    if (keys.empty()) {
        report.Say("No key is plugged in.");
    }
    for (const LabelledKey& one : keys) {
        if (!one.key.problem.empty()) {
            report.Say(cli::Say("Slot {1}: {2}", one.key.slot, one.key.problem));
        }
    }
}
