#include "tools/report/html_text.h"

#include "tools/printable.h"

namespace corvane::tools {

std::string htmlText(std::string_view text) {
  std::string html;
  for (const char character : printable(text)) {
    switch (character) {
      case '&':
        html += "&amp;";
        break;
      case '<':
        html += "&lt;";
        break;
      case '>':
        html += "&gt;";
        break;
      case '"':
        html += "&quot;";
        break;
      case '\'':
        html += "&#39;";
        break;
      default:
        html += character;
    }
  }
  return html;
}

std::string htmlTable(const std::vector<std::string>& titles,
                      const std::vector<std::vector<std::string>>& rows,
                      const std::vector<std::string>& classes) {
  const auto classOf = [&](size_t column) {
    const bool has = column < classes.size() && !classes[column].empty();
    return has ? " class=\"" + classes[column] + "\"" : "";
  };
  std::string html = "<div class=\"wide\"><table><thead><tr>";
  for (size_t i = 0; i < titles.size(); ++i) {
    html += "<th" + classOf(i) + ">" + htmlText(titles[i]) + "</th>";
  }
  html += "</tr></thead><tbody>\n";
  for (const auto& row : rows) {
    html += "<tr>";
    for (size_t i = 0; i < row.size(); ++i) {
      html += "<td" + classOf(i) + ">" + htmlText(row[i]) + "</td>";
    }
    html += "</tr>\n";
  }
  return html + "</tbody></table></div>\n";
}

}  // namespace corvane::tools
