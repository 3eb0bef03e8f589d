// Holds the tables of codes and of exit statuses in the documents against the catalogue and against
// cli/exit_status.cpp, or makes them from there.
//
//   codes_pages check PAGE...     ends with 1 when a page is not what the catalogue says
//   codes_pages update PAGE...    writes the tables into the pages
//
// A table stands between the lines "<!-- codes: NAME -->" and "<!-- codes: end -->".
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "cli/exit_status.h"
#include "codes/advice.h"
#include "codes/catalogue.h"
#include "codes/notation.h"

namespace {

constexpr const char* kEnd = "<!-- codes: end -->\n";

std::string Cell(const char* text) {
    return text == nullptr ? "" : text;
}

std::string Number(const codes::Row& row) {
    return row.code < 0 && row.name != nullptr && std::strncmp(row.name, "ORVAL_", 6) == 0
               ? std::to_string(row.code)
           : row.code == 0 ? "0"
                           : codes::Hexadecimal(row.code);
}

std::string RowOf(std::initializer_list<std::string> cells) {
    std::string line = "|";
    for (const std::string& cell : cells) {
        line += cell.empty() ? " |" : " " + cell + " |";
    }
    return line + "\n";
}

std::string EveryCode() {
    std::string table =
        "| code | name | the software key's text | the same in Chinese | meaning, where that text "
        "does not "
        "say it | what to do |\n"
        "|---|---|---|---|---|---|\n";
    for (const codes::Row& row : codes::All()) {
        table +=
            RowOf({Number(row), Cell(row.name), Cell(row.english), Cell(row.chinese),
                   Cell(row.meaning), codes::NextFor(row.code, {}, {}, "the verb's `--help`")});
    }
    return table;
}

std::string CodesOfTheSoftwareKey() {
    std::string table = "| code | meaning |\n|---|---|\n";
    for (const codes::Row& row : codes::All()) {
        if (row.english != nullptr && row.code >= 0) {
            table += RowOf({Number(row), row.english});
        }
    }
    return table;
}

std::string Names(unsigned commands) {
    std::string names;
    for (const auto& [command, name] :
         {std::pair{cli::kUkeyctl, "`ukeyctl`"}, std::pair{cli::kSoftkey, "`softkey`"},
          std::pair{cli::kSoftca, "`softca`"}}) {
        if ((commands & command) != 0) {
            names += (names.empty() ? "" : ", ") + std::string(name);
        }
    }
    return names;
}

std::string EveryStatus() {
    std::string table =
        "| exit status | class, in JSON | meaning | commands | codes |\n|---|---|---|---|---|\n";
    for (const cli::StatusClass& one : cli::AllStatuses()) {
        std::string codes;
        for (const codes::Row& row : codes::All()) {
            if (row.status == one.status && row.code != 0) {
                codes += (codes.empty() ? "" : ", ") + Number(row);
            }
        }
        table += RowOf({std::to_string(static_cast<int>(one.status)),
                        "`" + std::string(one.name) + "`", one.meaning, Names(one.commands),
                        one.status == cli::ExitStatus::kFailed ? "all others" : codes});
    }
    return table;
}

struct Table {
    const char* begin;
    std::string (*make)();
};

constexpr Table kTables[] = {
    {"<!-- codes: every -->\n", EveryCode},
    {"<!-- codes: software key -->\n", CodesOfTheSoftwareKey},
    {"<!-- codes: statuses -->\n", EveryStatus},
};

// The page with its tables made anew; empty when it has none.
std::string Made(const std::string& page) {
    for (const Table& table : kTables) {
        const size_t begin = page.find(table.begin);
        const size_t end = page.find(kEnd, begin);
        if (begin != std::string::npos && end != std::string::npos) {
            return page.substr(0, begin) + table.begin + table.make() + page.substr(end);
        }
    }
    return {};
}

std::string Read(const char* path) {
    std::ostringstream contents;
    contents << std::ifstream(path).rdbuf();
    return contents.str();
}

bool Check(const char* path) {
    const std::string page = Read(path);
    if (!page.empty() && Made(page) == page) {
        return true;
    }
    std::cerr << path << ": its table is not what codes/catalogue.cpp and cli/exit_status.cpp say\n"
              << "  next: build the target update_code_pages\n";
    return false;
}

bool Update(const char* path) {
    const std::string made = Made(Read(path));
    if (made.empty()) {
        std::cerr << path << ": there is no such table in it\n";
        return false;
    }
    return static_cast<bool>(std::ofstream(path) << made << std::flush);
}

}  // namespace

int main(int count, char** words) {
    if (count < 3) {
        std::cerr << "usage: codes_pages check|update PAGE...\n";
        return 2;
    }
    const auto work = std::strcmp(words[1], "update") == 0 ? Update : Check;
    bool good = true;
    for (char** path = words + 2; path != words + count; ++path) {
        good = work(*path) && good;
    }
    return good ? 0 : 1;
}
