#ifndef CORVANE_TOOLS_HTML_MARKUP_H_
#define CORVANE_TOOLS_HTML_MARKUP_H_

#include <string>
#include <string_view>

namespace corvane::tools {

/// Returns the text as the content of an XML or HTML element or of a quoted attribute: no character
/// of it is markup, and what the two cannot hold shows as "\x1b" or "?". Everything that comes from
/// a unit, a file or the command line goes through this.
std::string markupText(std::string_view text);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_HTML_MARKUP_H_
