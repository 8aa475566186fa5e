#include "tools/html/markup.h"

#include "platform/printable.h"

namespace corvane::tools {

std::string markupText(std::string_view text) {
  // U+FFFE and U+FFFF, the only characters that are neither controls nor allowed.
  constexpr std::string_view kForbidden = "\xEF\xBF\xBE", kForbiddenToo = "\xEF\xBF\xBF";
  const std::string shown = printable(text);
  std::string markup;
  for (std::string_view rest = shown; !rest.empty(); rest.remove_prefix(1)) {
    if (rest.starts_with(kForbidden) || rest.starts_with(kForbiddenToo)) {
      markup += '?';
      rest.remove_prefix(kForbidden.size() - 1);
      continue;
    }
    switch (rest[0]) {
      case '&':
        markup += "&amp;";
        break;
      case '<':
        markup += "&lt;";
        break;
      case '>':
        markup += "&gt;";
        break;
      case '"':
        markup += "&quot;";
        break;
      case '\'':
        markup += "&#39;";
        break;
      default:
        markup += rest[0];
    }
  }
  return markup;
}

}  // namespace corvane::tools
