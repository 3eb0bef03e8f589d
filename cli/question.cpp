#include "cli/question.h"

#include <strings.h>
#include <unistd.h>

#include <cstdio>

#include "cli/printable.h"
#include "cli/words.h"

namespace cli {

bool CanAsk() {
    return isatty(STDIN_FILENO) != 0 && isatty(STDERR_FILENO) != 0;
}

bool Ask(const std::string& question) {
    std::fputs(Encoded(Printable(Say(question)) + " [y/N] ").c_str(), stderr);
    char line[64] = {};
    std::string answer = std::fgets(line, sizeof line, stdin) == nullptr ? "" : line;
    answer.erase(answer.find_last_not_of(" \r\n") + 1);
    return strcasecmp(answer.c_str(), "y") == 0 || strcasecmp(answer.c_str(), "yes") == 0;
}

}  // namespace cli
