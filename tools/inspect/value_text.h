#ifndef CORVANE_TOOLS_INSPECT_VALUE_TEXT_H_
#define CORVANE_TOOLS_INSPECT_VALUE_TEXT_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Keys and values of the configuration area as people type and read them.
namespace corvane::tools {

/// Four printable characters, or 0x and up to eight digits; nothing for any other text.
std::optional<uint32_t> parseKey(std::string_view text);

/// The key's four characters, or 0x and eight digits when they would not be read as this key.
std::string keyName(uint32_t key);

/// "0a1b2c".
std::string hexText(std::span<const uint8_t> bytes);

/// The bytes that pairs of digits, apart or together, stand for; nothing for any other text.
std::optional<std::vector<uint8_t>> parseHex(std::string_view text);

/// Whether text has no use for it: an ASCII control character other than tab and line end.
bool isControlCharacter(uint8_t byte);

/// Whether the bytes are text that a terminal can be shown: UTF-8 without control characters other
/// than tab and line end.
bool isPlainText(std::span<const uint8_t> bytes);

/// The bytes as ASCII text, with backslashes doubled and what cannot be printed as \x1b.
std::string escapedText(std::span<const uint8_t> bytes);

/// The value on one line of `width` characters at most: its text when it is plain, else its digits.
/// A value cut short ends in "...".
std::string preview(std::span<const uint8_t> value, size_t width);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_INSPECT_VALUE_TEXT_H_
