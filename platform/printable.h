#ifndef CORVANE_PLATFORM_PRINTABLE_H_
#define CORVANE_PLATFORM_PRINTABLE_H_

#include <string>
#include <string_view>

namespace corvane {

/// Returns the text as a terminal can safely be shown it, on one line: each byte of a control
/// character other than tab (U+0000 to U+001F, U+007F to U+009F) and each byte that is not UTF-8
/// becomes "\x1b" with its own digits. Everything else stays, backslashes too.
std::string printable(std::string_view text);

}  // namespace corvane

#endif  // CORVANE_PLATFORM_PRINTABLE_H_
