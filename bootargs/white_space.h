#ifndef CORVANE_BOOTARGS_WHITE_SPACE_H_
#define CORVANE_BOOTARGS_WHITE_SPACE_H_

#include "platform/cf_ref.h"

namespace corvane {

/// Returns whether the platform counts the character as white space: blanks of every width and
/// tabs, but not line breaks.
inline bool isWhiteSpace(UniChar unit) {
  switch (unit) {
    case '\t':
    case ' ':
    case 0x00A0:
    case 0x1680:
    case 0x202F:
    case 0x205F:
    case 0x3000:
      return true;
    default:
      return unit >= 0x2000 && unit <= 0x200A;
  }
}

/// Returns the word without white space at its ends, as `addBootArg` adds it; null when it cannot
/// be made.
inline CFRef<CFStringRef> trimmed(CFStringRef word) {
  CFIndex start = 0;
  CFIndex end = CFStringGetLength(word);
  while (start < end && isWhiteSpace(CFStringGetCharacterAtIndex(word, start))) ++start;
  while (start < end && isWhiteSpace(CFStringGetCharacterAtIndex(word, end - 1))) --end;
  return CFRef<CFStringRef>(
      CFStringCreateWithSubstring(kCFAllocatorDefault, word, CFRangeMake(start, end - start)));
}

}  // namespace corvane

#endif  // CORVANE_BOOTARGS_WHITE_SPACE_H_
