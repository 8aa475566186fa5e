#ifndef CORVANE_PLATFORM_PRINTABLE_H_
#define CORVANE_PLATFORM_PRINTABLE_H_

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace corvane {

/// Returns whether the character acts on the text around it instead of being shown: the controls
/// (U+0000 to U+001F, U+007F to U+009F), the separators of lines and paragraphs (U+2028, U+2029),
/// and those that change the direction of writing (U+202A to U+202E, U+2066 to U+2069).
bool isControl(uint32_t codePoint);

/// Returns whether the bytes are text that can be shown as it is: UTF-8, and no control characters
/// except tab and line feed.
bool isPlainText(std::span<const uint8_t> bytes);

/// Returns the text in a form that is safe to show on a terminal or a page, on one line: each byte
/// of a control character other than tab, and each byte that is not UTF-8, becomes "\x1b" with its
/// own digits. Everything else stays, including backslashes.
std::string printable(std::string_view text);

}  // namespace corvane

#endif  // CORVANE_PLATFORM_PRINTABLE_H_
