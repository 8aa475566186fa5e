#include "tools/terminal/text_columns.h"

#include <locale.h>
#include <wchar.h>

#include <algorithm>

namespace corvane::tools {
namespace {

/// Makes the C library's multi-byte functions read UTF-8 while it exists, whatever the user's
/// locale is.
class Utf8Locale {
 public:
  Utf8Locale() : _before(uselocale(locale())) {}
  ~Utf8Locale() { uselocale(_before); }
  Utf8Locale(const Utf8Locale&) = delete;
  Utf8Locale& operator=(const Utf8Locale&) = delete;

 private:
  static locale_t locale() {
    static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return utf8;
  }

  locale_t _before;
};

struct Character {
  size_t bytes;
  size_t columns;
};

/// Returns the character that the text begins with. A byte that is not UTF-8 counts as one.
Character firstCharacter(std::string_view text) {
  wchar_t character = 0;
  mbstate_t state{};
  const size_t bytes = mbrtowc(&character, text.data(), text.size(), &state);
  if (bytes == 0 || bytes > text.size()) return {1, 1};
  const int columns = wcwidth(character);
  return {bytes, columns < 0 ? 1 : static_cast<size_t>(columns)};
}

}  // namespace

size_t columnsOf(std::string_view text) {
  const Utf8Locale locale;
  size_t columns = 0;
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    columns += character.columns;
    text.remove_prefix(character.bytes);
  }
  return columns;
}

std::string_view beginning(std::string_view text, size_t columns) {
  const Utf8Locale locale;
  size_t bytes = 0;
  for (size_t used = 0; bytes < text.size();) {
    const Character character = firstCharacter(text.substr(bytes));
    used += character.columns;
    if (used > columns) break;
    bytes += character.bytes;
  }
  return text.substr(0, bytes);
}

std::string ending(std::string_view text, size_t columns) {
  const size_t all = columnsOf(text);
  if (all <= columns) return std::string(text);
  if (columns == 0) return {};
  const Utf8Locale locale;
  // The mark takes one column.
  for (size_t left = all; left > columns - 1;) {
    const Character character = firstCharacter(text);
    left -= character.columns;
    text.remove_prefix(character.bytes);
  }
  return "…" + std::string(text);
}

}  // namespace corvane::tools
