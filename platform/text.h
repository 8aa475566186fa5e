#ifndef CORVANE_PLATFORM_TEXT_H_
#define CORVANE_PLATFORM_TEXT_H_

#include <string>

#include "platform/cf_ref.h"

namespace corvane {

/// A new string from `format`, which is filled as CFStringCreateWithFormat does; null when it
/// cannot be made.
CFRef<CFStringRef> formatText(CFStringRef format, ...);

/// The string's UTF-8 bytes; empty when it is absent. What has no UTF-8 form shows as "?".
std::string utf8Bytes(CFStringRef string);

/// `text` with each occurrence of `find` replaced by `replacement`; absent when `text` is.
CFRef<CFStringRef> replacingText(CFStringRef text, CFStringRef find, CFStringRef replacement);

}  // namespace corvane

#endif  // CORVANE_PLATFORM_TEXT_H_
