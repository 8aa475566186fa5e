#ifndef CORVANE_TOOLS_RESULTS_MARKUP_H_
#define CORVANE_TOOLS_RESULTS_MARKUP_H_

#include <string>
#include <string_view>

#include "tools/printable.h"

namespace corvane::tools {

/// `text` as XML and HTML take it, as text and as an attribute's value: what they keep for
/// themselves is escaped, and what they cannot hold shows as on a terminal.
inline std::string markupText(std::string_view text) {
  std::string shown = printable(text);
  // U+FFFE and U+FFFF, the only characters that are neither controls nor allowed.
  for (const char* forbidden : {"\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
    for (size_t at = 0; (at = shown.find(forbidden)) != std::string::npos;)
      shown.replace(at, 3, "?");
  }
  std::string escaped;
  for (const char character : shown) {
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
      default:
        escaped += character;
    }
  }
  return escaped;
}

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_RESULTS_MARKUP_H_
