#include "tools/terminal/text_columns.h"

#include <utf8proc.h>

#include <algorithm>

namespace corvane::tools {
namespace {

struct Character {
  size_t bytes;
  size_t columns;
};

/// Returns the character that the text begins with. A byte that is not UTF-8 counts as one.
Character firstCharacter(std::string_view text) {
  if (static_cast<signed char>(text.front()) >= 0) return {1, 1};
  utf8proc_int32_t codePoint = 0;
  const utf8proc_ssize_t bytes =
      utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                       static_cast<utf8proc_ssize_t>(text.size()), &codePoint);
  if (bytes <= 0) return {1, 1};
  return {static_cast<size_t>(bytes),
          static_cast<size_t>(std::max(0, utf8proc_charwidth(codePoint)))};
}

}  // namespace

size_t columnsOf(std::string_view text) {
  size_t columns = 0;
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    columns += character.columns;
    text.remove_prefix(character.bytes);
  }
  return columns;
}

std::string shortened(std::string_view text, size_t columns) {
  if (columnsOf(text) <= columns) return std::string(text);
  constexpr std::string_view kMark = "...";
  size_t bytes = 0;
  for (size_t used = kMark.size();;) {
    const Character character = firstCharacter(text.substr(bytes));
    used += character.columns;
    if (used > columns) break;
    bytes += character.bytes;
  }
  return std::string(text.substr(0, bytes)).append(kMark);
}

std::string ending(std::string_view text, size_t columns) {
  size_t left = columnsOf(text);
  if (left <= columns) return std::string(text);
  // The mark takes one column.
  while (left + 1 > columns && !text.empty()) {
    const Character character = firstCharacter(text);
    left -= character.columns;
    text.remove_prefix(character.bytes);
  }
  return "…" + std::string(text);
}

}  // namespace corvane::tools
