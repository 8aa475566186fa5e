#ifndef CORVANE_TOOLS_HTML_PAGE_H_
#define CORVANE_TOOLS_HTML_PAGE_H_

#include <string>
#include <string_view>
#include <vector>

#include "tools/terminal/terminal.h"

/// The one look of the tool's pages: each is a single file that loads nothing, has no scripts,
/// follows the reader's light or dark scheme, and prints.
namespace corvane::tools {

/// A piece of HTML. Text becomes one by being escaped, so that nothing else can be put in a page by
/// mistake.
class Html {
 public:
  Html() = default;
  // NOLINTBEGIN(google-explicit-constructor): a cell is written as its text.
  Html(std::string_view text);
  Html(const std::string& text) : Html(std::string_view(text)) {}
  Html(const char* text) : Html(std::string_view(text)) {}
  // NOLINTEND(google-explicit-constructor)
  /// Takes markup that the tool itself has written.
  static Html raw(std::string markup);

  Html& operator+=(const Html& more);
  friend Html operator+(Html a, const Html& b) { return a += b; }
  const std::string& markup() const { return _markup; }

 private:
  std::string _markup;
};

/// Returns a link to the element of the page that has this id.
Html linkTo(const std::string& id, const Html& content);

struct HtmlRow {
  std::vector<Html> cells;
  std::string id = {};  ///< What links name; empty for a row that none leads to.
};

/// Returns a table whose first column heads its rows. `label` names the table to those who hear it.
/// `classes` has a class for each column, which may be empty.
std::string htmlTable(const std::string& label, const std::vector<std::string>& titles,
                      const std::vector<HtmlRow>& rows,
                      const std::vector<std::string>& classes = {});

/// Returns the table as a terminal has it, with its titles in lower case after their first letter.
std::string htmlTable(const std::string& label, const Table& table);

/// Returns the page. `content` is markup.
std::string htmlPage(const std::string& title, const std::string& content);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_HTML_PAGE_H_
