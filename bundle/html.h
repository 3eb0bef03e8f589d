#ifndef BUNDLE_HTML_H
#define BUNDLE_HTML_H

#include <string>
#include <string_view>
#include <vector>

// Parts of a page. What comes from a key, a log or a computer enters a page here, and nowhere else.
namespace bundle::html {

// The text as a page or an attribute shows it: no markup, no character that a browser obeys.
std::string Escaped(std::string_view text);

struct Cell {
    std::string text;
    const char* look = "";  // a class of the page's style, or none
    std::string note{};     // on a line of its own below
};

// One row below the other; on a narrow page each cell stands under its column's name.
std::string Table(const std::vector<std::string>& headings,
                  const std::vector<std::vector<Cell>>& rows);

std::string Paragraph(std::string_view text, const char* look = "");

// A section with a heading, around what is markup already.
std::string Section(std::string_view heading, const std::string& markup);

}  // namespace bundle::html

#endif
