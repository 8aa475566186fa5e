#ifndef CORVANE_PLATFORM_TEXT_H_
#define CORVANE_PLATFORM_TEXT_H_

#include <string>
#include <string_view>

#include "platform/cf_ref.h"

namespace corvane {

/// Returns a new string of `bytes`. Returns null when they are not valid UTF-8 or the string cannot
/// be made.
CFRef<CFStringRef> textFromUtf8(std::string_view bytes);

/// Returns a new string of `bytes`, taken as Latin-1 when they are not valid UTF-8. Returns null
/// when it cannot be made.
CFRef<CFStringRef> textFromBytes(std::string_view bytes);

/// Returns a new string from `format`, filled as CFStringCreateWithFormat does. Returns null when
/// it cannot be made.
CFRef<CFStringRef> formatText(CFStringRef format, ...);

/// Returns the string's UTF-8 bytes, with "?" for each surrogate that stands alone; no fewer bytes
/// than the string has UTF-16 units. Returns "" for null.
std::string utf8Bytes(CFStringRef string);

/// Returns `text` with each occurrence of `find` replaced by `replacement`. Returns null when
/// `text` is null or the result cannot be made.
CFRef<CFStringRef> replacingText(CFStringRef text, CFStringRef find, CFStringRef replacement);

}  // namespace corvane

#endif  // CORVANE_PLATFORM_TEXT_H_
