#ifndef CLI_HELP_H
#define CLI_HELP_H

#include <CLI/CLI.hpp>

namespace cli {

// Gives the program, and the commands that are added to it later, a help that fits the terminal: as
// wide as COLUMNS says, else as the terminal is, else 80. In descriptions and footers a line that
// begins with blanks is an example or a row of two columns; any other is filled up as prose.
void UseFittingHelp(CLI::App& program);

// Once all commands and options are there: a number is called N in the help, and a flag takes no
// value.
void FinishOptions(CLI::App& program);

}  // namespace cli

#endif
