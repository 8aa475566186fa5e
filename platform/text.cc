#include "platform/text.h"

#include <cstdarg>

namespace corvane {

CFRef<CFStringRef> formatText(CFStringRef format, ...) {
  va_list arguments;
  va_start(arguments, format);
  CFRef<CFStringRef> text(
      CFStringCreateWithFormatAndArguments(kCFAllocatorDefault, nullptr, format, arguments));
  va_end(arguments);
  return text;
}

std::string utf8Bytes(CFStringRef string) {
  if (!string) return {};
  const CFIndex units = CFStringGetLength(string);
  const CFIndex room = CFStringGetMaximumSizeForEncoding(units, kCFStringEncodingUTF8);
  std::string bytes(static_cast<size_t>(room), '\0');
  CFIndex used = 0;
  CFStringGetBytes(string, CFRangeMake(0, units), kCFStringEncodingUTF8, '?', false,
                   reinterpret_cast<UInt8*>(bytes.data()), room, &used);
  bytes.resize(static_cast<size_t>(used));
  return bytes;
}

CFRef<CFStringRef> replacingText(CFStringRef text, CFStringRef find, CFStringRef replacement) {
  if (!text) return {};
  CFRef<CFMutableStringRef> copy(CFStringCreateMutableCopy(kCFAllocatorDefault, 0, text));
  if (copy) {
    CFStringFindAndReplace(copy.get(), find, replacement,
                           CFRangeMake(0, CFStringGetLength(copy.get())), 0);
  }
  return CFRef<CFStringRef>(copy.release());
}

}  // namespace corvane
