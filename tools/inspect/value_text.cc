#include "tools/inspect/value_text.h"

#include <utf8.h>

#include <algorithm>

#include "platform/printable.h"

namespace corvane::tools {
namespace {

bool isPrintable(uint8_t byte) { return byte >= ' ' && byte <= '~'; }

/// Returns the digit's value, or 16 for another character.
size_t digitOf(char character) {
  const auto lower =
      static_cast<char>(character >= 'A' && character <= 'F' ? character + 32 : character);
  return std::min(std::string_view("0123456789abcdef").find(lower), size_t{16});
}

std::optional<uint32_t> parseNumber(std::string_view digits) {
  if (digits.empty() || digits.size() > 8) return std::nullopt;
  uint32_t number = 0;
  for (const char character : digits) {
    const size_t digit = digitOf(character);
    if (digit == 16) return std::nullopt;
    number = number << 4 | static_cast<uint32_t>(digit);
  }
  return number;
}

}  // namespace

std::optional<uint32_t> parseKey(std::string_view text) {
  if (text.starts_with("0x") || text.starts_with("0X")) return parseNumber(text.substr(2));
  if (text.size() != 4) return std::nullopt;
  uint32_t key = 0;
  for (const char character : text) {
    const auto byte = static_cast<uint8_t>(character);
    if (!isPrintable(byte)) return std::nullopt;
    key = key << 8 | byte;
  }
  return key;
}

std::optional<std::vector<uint8_t>> parseHex(std::string_view text) {
  std::vector<uint8_t> bytes;
  size_t at = 0;
  while ((at = text.find_first_not_of(" \t\r\n", at)) != std::string_view::npos) {
    const auto byte = parseNumber(text.substr(at, 2));
    if (!byte || at + 2 > text.size()) return std::nullopt;
    bytes.push_back(static_cast<uint8_t>(*byte));
    at += 2;
  }
  return bytes;
}

bool isControlCharacter(uint8_t byte) {
  return (byte < ' ' && byte != '\t' && byte != '\n') || byte == 0x7F;
}

bool isPlainText(std::span<const uint8_t> bytes) {
  if (!utf8::is_valid(bytes.begin(), bytes.end())) return false;
  for (auto at = bytes.begin(); at != bytes.end();) {
    const uint32_t codePoint = utf8::unchecked::next(at);
    if (isControl(codePoint) && codePoint != '\t' && codePoint != '\n') return false;
  }
  return true;
}

std::string escapedText(std::span<const uint8_t> bytes) {
  std::string text;
  for (const uint8_t byte : bytes) {
    if (byte == '\\') {
      text += "\\\\";
    } else if (isPrintable(byte)) {
      text += static_cast<char>(byte);
    } else {
      text += "\\x" + hexText({&byte, 1});
    }
  }
  return text;
}

std::string preview(std::span<const uint8_t> value, size_t width) {
  std::string text;
  if (isPlainText(value)) {
    text.assign(value.begin(), value.end());
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == '\n' || c == '\t'; }, ' ');
  } else {
    text = "0x" + hexText(value.first(std::min(value.size(), width)));
  }
  if (text.size() <= width) return text;
  size_t end = width - 3;
  // Not inside a character of several bytes.
  while (end > 0 && (static_cast<uint8_t>(text[end]) & 0xC0) == 0x80) --end;
  return text.substr(0, end) + "...";
}

}  // namespace corvane::tools
