#include "tools/printable.h"

#include <cstddef>
#include <cstdint>

namespace corvane::tools {
namespace {

uint8_t byteAt(std::string_view text, size_t at) { return static_cast<uint8_t>(text[at]); }

/// Returns the length of the well-formed UTF-8 character that the text begins with, 0 when it
/// begins with none, and the character's code point.
size_t characterAt(std::string_view text, uint32_t& codePoint) {
  struct Form {
    uint8_t mask, lead;
    uint32_t smallest;
  };
  // By the number of bytes that follow the first. A longer form of a smaller code point is refused.
  constexpr Form kForms[] = {
      {0x80, 0x00, 0}, {0xE0, 0xC0, 0x80}, {0xF0, 0xE0, 0x800}, {0xF8, 0xF0, 0x10000}};
  const uint8_t first = byteAt(text, 0);
  size_t following = 0;
  while (following < 4 && (first & kForms[following].mask) != kForms[following].lead) ++following;
  if (following == 4 || following >= text.size()) return 0;
  codePoint = first & static_cast<uint8_t>(~kForms[following].mask);
  for (size_t at = 1; at <= following; ++at) {
    if ((byteAt(text, at) & 0xC0) != 0x80) return 0;
    codePoint = codePoint << 6 | (byteAt(text, at) & 0x3F);
  }
  const bool isSurrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
  if (codePoint < kForms[following].smallest || codePoint > 0x10FFFF || isSurrogate) return 0;
  return following + 1;
}

bool isControl(uint32_t codePoint) {
  return (codePoint < 0x20 && codePoint != '\t') || (codePoint >= 0x7F && codePoint < 0xA0);
}

}  // namespace

std::string printable(std::string_view text) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string shown;
  shown.reserve(text.size());
  while (!text.empty()) {
    uint32_t codePoint = 0;
    const size_t length = characterAt(text, codePoint);
    if (length > 0 && !isControl(codePoint)) {
      shown += text.substr(0, length);
      text.remove_prefix(length);
      continue;
    }
    for (size_t at = 0; at < (length > 0 ? length : 1); ++at) {
      shown += "\\x";
      shown += kDigits[byteAt(text, at) >> 4];
      shown += kDigits[byteAt(text, at) & 0xF];
    }
    text.remove_prefix(length > 0 ? length : 1);
  }
  return shown;
}

}  // namespace corvane::tools
