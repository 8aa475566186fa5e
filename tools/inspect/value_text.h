#ifndef CORVANE_TOOLS_INSPECT_VALUE_TEXT_H_
#define CORVANE_TOOLS_INSPECT_VALUE_TEXT_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "unit/keys.h"

/// Keys and values of the configuration area as people type and read them.
namespace corvane::tools {

/// Parses four printable characters, or 0x and hexadecimal digits. Returns nothing for other text.
std::optional<uint32_t> parseKey(std::string_view text);

using unit::keyName;

/// Parses pairs of digits, with or without white space between them. Returns nothing for other
/// text.
std::optional<std::vector<uint8_t>> parseHex(std::string_view text);

/// Returns the bytes as ASCII text, with backslashes doubled and unprintable bytes as \x1b.
std::string escapedText(std::span<const uint8_t> bytes);

/// Returns the value on one line of at most `width` characters: its text when it is plain, else its
/// hexadecimal digits. A shortened value ends in "...".
std::string preview(std::span<const uint8_t> value, size_t width);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_INSPECT_VALUE_TEXT_H_
