#ifndef CORVANE_TOOLS_TERMINAL_TEXT_COLUMNS_H_
#define CORVANE_TOOLS_TERMINAL_TEXT_COLUMNS_H_

#include <cstddef>
#include <string>
#include <string_view>

/// How much room text takes on a terminal: wide characters take two columns, combining ones none.
/// The texts are UTF-8 without control characters.
namespace corvane::tools {

size_t columnsOf(std::string_view text);

/// Returns the text, or its beginning and "..." when it takes more than `columns`.
std::string shortened(std::string_view text, size_t columns);

/// Returns the text, or "…" and its end when it takes more than `columns`.
std::string ending(std::string_view text, size_t columns);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_TERMINAL_TEXT_COLUMNS_H_
