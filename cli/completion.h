#ifndef CLI_COMPLETION_H
#define CLI_COMPLETION_H

#include <functional>
#include <map>
#include <string>
#include <vector>

// What a shell offers for the word that is being typed. A program that is called with __complete
// and the words behind its name, the unfinished one last, prints a line for each candidate, with a
// tab and what it is behind it; or one line that begins with ":", for what the shell knows better:
//
//   :files, :folders      names in the file system
//   :commands             names of programs
//   :command N            what completes the program whose name is the Nth word
namespace cli {

inline constexpr const char* kComplete = "__complete";

struct Candidate {
    std::string word;
    std::string what;  // empty: it speaks for itself
};
using Candidates = std::vector<Candidate>;

// The options that stand on the line already, with their values.
using OnLine = std::map<std::string, std::string>;

// Candidates for a value that no list in the help tells.
using Source = std::function<Candidates(const OnLine&)>;

// A command as data: what its help tells.
struct Told {
    struct Value {
        std::string name;                 // "--out" or "FILE"
        std::string kind;                 // what the help calls the value; empty: a flag
        std::vector<std::string> values;  // where it is one of these
        std::string what;
        bool takes_all = false;  // all words that are left
        Source source;
    };
    std::string name;
    std::string what;
    bool shares_options = false;  // also behind its commands
    std::vector<Value> options;
    std::vector<Value> words;
    std::vector<Told> commands;
};

// Prints what can stand in the place of the last word. Where that belongs to another command of
// ours, that command is run in this one's place.
void Complete(const Told& program, const std::vector<std::string>& words);

}  // namespace cli

#endif
