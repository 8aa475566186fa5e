#ifndef CORVANE_TOOLS_HTML_HTML_H_
#define CORVANE_TOOLS_HTML_HTML_H_

#include <concepts>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/terminal/terminal.h"

/// The one look of the tool's pages: each is a single file that loads nothing, has no scripts,
/// follows the reader's light or dark scheme, and prints.
namespace corvane::tools {

/// Returns the text as the content of an XML or HTML element or of a quoted attribute: no character
/// of it is markup, and what the two cannot hold shows as "\x1b" or "?". Everything that comes from
/// a unit, a file or the command line goes through this.
std::string markupText(std::string_view text);

/// Returns an SVG element; `anchor` ("start", "middle" or "end") is the part of the text at `x`.
std::string svgText(double x, double y, const char* anchor, std::string_view text);

/// A piece of HTML. Text is escaped when it becomes one, so that it cannot become markup by
/// mistake.
struct Html {
  Html() = default;
  template <std::convertible_to<std::string_view> Text>
  // NOLINTNEXTLINE(google-explicit-constructor): a cell is written as its text.
  Html(const Text& text) : markup(markupText(text)) {}
  /// Takes markup that the tool itself has written.
  static Html raw(std::string written);

  Html& operator+=(const Html& more);
  friend Html operator+(Html a, const Html& b) { return a += b; }

  std::string markup;
};

/// Returns a link to the element of the page that has this id.
Html linkTo(const std::string& id, const Html& content);

std::string paragraph(std::string_view text);

struct HtmlRow {
  std::vector<Html> cells;
  std::string id = {};  ///< What links name; empty for a row without links to it.
};

/// Returns markup that may be wider than the page, and which the keyboard can scroll. `label` names
/// it to those who hear the page.
std::string wide(const std::string& label, const std::string& content,
                 const std::string& style = "");

/// Returns a table whose first column heads its rows, as `wide`. `classes` has a class for each
/// column, which may be empty.
std::string htmlTable(const std::string& label, const std::vector<std::string>& titles,
                      const std::vector<HtmlRow>& rows,
                      const std::vector<std::string>& classes = {});

std::string htmlTable(const std::string& label, const Table& table);

/// Returns the page. `content` is markup.
std::string htmlPage(const std::string& title, const std::string& content);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_HTML_HTML_H_
