#include "platform/printable.h"

#include <utf8.h>

#include "platform/number.h"

namespace corvane {
namespace {

void appendDigits(std::string& shown, std::string_view bytes) {
  for (const char character : bytes) {
    const auto byte = static_cast<uint8_t>(character);
    shown += "\\x" + hexText({&byte, 1});
  }
}

}  // namespace

bool isControl(uint32_t codePoint) {
  return codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0) ||
         (codePoint >= 0x2028 && codePoint <= 0x202E) ||
         (codePoint >= 0x2066 && codePoint <= 0x2069);
}

bool isPlainText(std::span<const uint8_t> bytes) {
  if (!utf8::is_valid(bytes.begin(), bytes.end())) return false;
  for (auto at = bytes.begin(); at != bytes.end();) {
    const uint32_t codePoint = utf8::unchecked::next(at);
    if (isControl(codePoint) && codePoint != '\t' && codePoint != '\n') return false;
  }
  return true;
}

std::string printable(std::string_view text) {
  std::string shown;
  shown.reserve(text.size());
  for (const char *at = text.data(), *const end = at + text.size(); at != end;) {
    for (const char* const invalid = utf8::find_invalid(at, end); at != invalid;) {
      const char* const start = at;
      const uint32_t codePoint = utf8::unchecked::next(at);
      const bool isShown = codePoint == '\t' || !isControl(codePoint);
      const std::string_view character(start, static_cast<size_t>(at - start));
      if (isShown) {
        shown += character;
      } else {
        appendDigits(shown, character);
      }
    }
    if (at != end) appendDigits(shown, {at++, 1});
  }
  return shown;
}

}  // namespace corvane
