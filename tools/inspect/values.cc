#include <algorithm>

#include "platform/number.h"
#include "platform/printable.h"
#include "tools/inspect/inspect.h"
#include "tools/terminal/terminal.h"

namespace corvane::tools {

std::optional<uint32_t> parseKey(std::string_view text) {
  if (text.starts_with("0x")) return parseNumber<uint32_t>(text);
  const bool isPrintable = std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; });
  return text.size() == 4 && isPrintable ? std::optional(unit::keyOf(text)) : std::nullopt;
}

std::optional<unit::Bytes> parseHex(std::string_view text) {
  unit::Bytes bytes;
  size_t at = 0;
  while ((at = text.find_first_not_of(" \t\r\n", at)) != std::string_view::npos) {
    const auto byte = parseNumber<uint8_t>("0x" + std::string(text.substr(at, 2)));
    if (!byte || at + 2 > text.size()) return std::nullopt;
    bytes.push_back(*byte);
    at += 2;
  }
  return bytes;
}

std::string valueText(ByteSpan value) {
  return isPlainText(value) ? std::string(value.begin(), value.end()) : "0x" + hexText(value);
}

std::string preview(ByteSpan value, size_t width) {
  return shortened(printable(valueText(value)), width);
}

}  // namespace corvane::tools
