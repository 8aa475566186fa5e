#include "tools/html/html_table.h"

#include "tools/html/markup.h"

namespace corvane::tools {

std::string htmlTable(const std::vector<std::string>& titles,
                      const std::vector<std::vector<std::string>>& rows,
                      const std::vector<std::string>& classes) {
  const auto classOf = [&](size_t column) {
    const bool has = column < classes.size() && !classes[column].empty();
    return has ? " class=\"" + classes[column] + "\"" : "";
  };
  std::string html = "<div class=\"wide\"><table><thead><tr>";
  for (size_t i = 0; i < titles.size(); ++i) {
    html += "<th" + classOf(i) + ">" + markupText(titles[i]) + "</th>";
  }
  html += "</tr></thead><tbody>\n";
  for (const auto& row : rows) {
    html += "<tr>";
    for (size_t i = 0; i < row.size(); ++i) {
      html += "<td" + classOf(i) + ">" + markupText(row[i]) + "</td>";
    }
    html += "</tr>\n";
  }
  return html + "</tbody></table></div>\n";
}

}  // namespace corvane::tools
