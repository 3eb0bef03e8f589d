#ifndef ORVAL_LINT_SUGGESTION_H
#define ORVAL_LINT_SUGGESTION_H

#include <string>
#include <string_view>
#include <vector>

namespace lint {

// Letters to add, leave out, change or swap to get from one name to the other, whatever their case.
size_t Distance(std::string_view a, std::string_view b);

// The name that was meant, probably: one that is a few letters away, or that begins like this.
// Empty where none is near.
std::string Nearest(std::string_view name, const std::vector<std::string_view>& known);

// A character of Chinese typing that looks like one of those that make up a text, with that one.
struct FullWidth {
    size_t at = std::string_view::npos;  // npos: there is none
    std::string character;
    std::string meant;
};
FullWidth FindFullWidth(std::string_view text);

}  // namespace lint

#endif
