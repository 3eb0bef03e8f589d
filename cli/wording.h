#ifndef CLI_WORDING_H
#define CLI_WORDING_H

#include <string>
#include <vector>

// A command line that makes no sense: what is wrong with it, in plain words. kind: what the program
// calls its commands.
namespace cli {

// What the parser says, put plainly.
std::string InPlainWords(const std::string& text, const std::string& kind);

// What is left over: a word where a command should stand comes before an option, which may be that
// command's. path: the command that was reached, "cert get".
std::string ExplainRest(const std::vector<std::string>& rest, bool needs_command,
                        const std::string& path, const std::string& kind);

}  // namespace cli

#endif
