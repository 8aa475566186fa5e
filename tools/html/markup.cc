#include "tools/html/markup.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/printable.h"

namespace corvane::tools {

std::string markupText(std::string_view text) {
  // U+FFFE and U+FFFF are the only characters that are neither controls nor allowed.
  constexpr std::pair<std::string_view, std::string_view> kReplacements[] = {
      {"&", "&amp;"}, {"<", "&lt;"},         {">", "&gt;"},        {"\"", "&quot;"},
      {"'", "&#39;"}, {"\xEF\xBF\xBE", "?"}, {"\xEF\xBF\xBF", "?"}};
  const std::string shown = printable(text);
  std::string markup;
  for (std::string_view rest = shown; !rest.empty();) {
    const auto found = std::ranges::find_if(
        kReplacements, [&](const auto& pair) { return rest.starts_with(pair.first); });
    const bool isPlain = found == std::end(kReplacements);
    const size_t length =
        isPlain ? std::min(rest.find_first_of("&<>\"'\xEF", 1), rest.size()) : found->first.size();
    markup += isPlain ? rest.substr(0, length) : found->second;
    rest.remove_prefix(length);
  }
  return markup;
}

}  // namespace corvane::tools
