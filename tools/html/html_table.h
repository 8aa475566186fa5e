#ifndef CORVANE_TOOLS_HTML_HTML_TABLE_H_
#define CORVANE_TOOLS_HTML_HTML_TABLE_H_

#include <string>
#include <vector>

namespace corvane::tools {

/// Returns a table. The titles and cells are text, not markup; `classes` has a class for each
/// column, which may be empty.
std::string htmlTable(const std::vector<std::string>& titles,
                      const std::vector<std::vector<std::string>>& rows,
                      const std::vector<std::string>& classes = {});

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_HTML_HTML_TABLE_H_
