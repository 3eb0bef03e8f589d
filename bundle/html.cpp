#include "bundle/html.h"

#include "cli/printable.h"

namespace bundle::html {
namespace {

std::string Attribute(const char* name, std::string_view value) {
    return value.empty() ? "" : std::string(" ") + name + "=\"" + Escaped(value) + "\"";
}

}  // namespace

std::string Escaped(std::string_view text) {
    std::string escaped;
    for (const char character : cli::Printable(text)) {
        switch (character) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\'':
                escaped += "&#39;";
                break;
            default:
                escaped += character;
        }
    }
    return escaped;
}

std::string Table(const std::vector<std::string>& headings,
                  const std::vector<std::vector<Cell>>& rows) {
    std::string table = "<table>\n<thead><tr>";
    for (const std::string& heading : headings) {
        table += "<th scope=\"col\">" + Escaped(heading) + "</th>";
    }
    table += "</tr></thead>\n<tbody>\n";
    for (const std::vector<Cell>& row : rows) {
        table += "<tr>";
        for (size_t i = 0; i < row.size(); ++i) {
            table +=
                "<td" + Attribute("class", row[i].look) +
                Attribute("data-label", row[i].text.empty() ? "" : headings[i]) + ">" +
                Escaped(row[i].text) +
                (row[i].note.empty() ? ""
                                     : "<div class=\"next\">" + Escaped(row[i].note) + "</div>") +
                "</td>";
        }
        table += "</tr>\n";
    }
    return table + "</tbody>\n</table>\n";
}

std::string Paragraph(std::string_view text, const char* look) {
    return "<p" + Attribute("class", look) + ">" + Escaped(text) + "</p>\n";
}

std::string Section(std::string_view heading, const std::string& markup) {
    return "<section>\n<h2>" + Escaped(heading) + "</h2>\n" + markup + "</section>\n";
}

}  // namespace bundle::html
