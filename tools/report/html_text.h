#ifndef CORVANE_TOOLS_REPORT_HTML_TEXT_H_
#define CORVANE_TOOLS_REPORT_HTML_TEXT_H_

#include <string>
#include <string_view>
#include <vector>

namespace corvane::tools {

/// Returns the text as the content of an element or of a quoted attribute: no character of it is
/// markup, and control characters show as \x1b. Everything that comes from a unit, a file or the
/// command line goes through this.
std::string htmlText(std::string_view text);

/// Returns a table. The titles and cells are text, not markup; `classes` has a class for each
/// column, which may be empty.
std::string htmlTable(const std::vector<std::string>& titles,
                      const std::vector<std::vector<std::string>>& rows,
                      const std::vector<std::string>& classes = {});

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_REPORT_HTML_TEXT_H_
