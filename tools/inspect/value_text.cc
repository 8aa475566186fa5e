#include "tools/inspect/value_text.h"

#include <algorithm>

#include "platform/number.h"
#include "platform/printable.h"
#include "tools/terminal/text_columns.h"

namespace corvane::tools {
namespace {

bool isPrintable(char character) { return character >= ' ' && character <= '~'; }

}  // namespace

std::optional<uint32_t> parseKey(std::string_view text) {
  if (text.starts_with("0x")) return parseNumber<uint32_t>(text);
  if (text.size() != 4 || !std::ranges::all_of(text, isPrintable)) return std::nullopt;
  return unit::keyOf(text);
}

std::optional<std::vector<uint8_t>> parseHex(std::string_view text) {
  std::vector<uint8_t> bytes;
  size_t at = 0;
  while ((at = text.find_first_not_of(" \t\r\n", at)) != std::string_view::npos) {
    const auto byte = parseNumber<uint8_t>("0x" + std::string(text.substr(at, 2)));
    if (!byte || at + 2 > text.size()) return std::nullopt;
    bytes.push_back(*byte);
    at += 2;
  }
  return bytes;
}

std::string escapedText(std::span<const uint8_t> bytes) {
  std::string text;
  for (const uint8_t byte : bytes) {
    const auto character = static_cast<char>(byte);
    if (isPrintable(character)) {
      text += character == '\\' ? "\\\\" : std::string(1, character);
    } else {
      text += "\\x" + hexText({&byte, 1});
    }
  }
  return text;
}

std::string preview(std::span<const uint8_t> value, size_t width) {
  if (!isPlainText(value)) {
    return shortened("0x" + hexText(value.first(std::min(value.size(), width))), width);
  }
  std::string text(value.begin(), value.end());
  std::ranges::replace_if(
      text, [](char character) { return character == '\n' || character == '\t'; }, ' ');
  return shortened(text, width);
}

}  // namespace corvane::tools
