#ifndef CLI_QUESTION_H
#define CLI_QUESTION_H

#include <string>

namespace cli {

// Whether somebody is there to be asked: standard input and standard error are terminals.
bool CanAsk();

// Asks on standard error, with "[y/N]" behind the question. Everything but y or yes is a no, the
// end of the input as well.
bool Ask(const std::string& question);

}  // namespace cli

#endif
