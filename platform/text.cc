#include "platform/text.h"

#include <cstdarg>

namespace corvane {
namespace {

CFRef<CFStringRef> textIn(CFStringEncoding encoding, std::string_view bytes) {
  return CFRef<CFStringRef>(
      CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                              static_cast<CFIndex>(bytes.size()), encoding, false));
}

}  // namespace

CFRef<CFStringRef> textFromUtf8(std::string_view bytes) {
  return textIn(kCFStringEncodingUTF8, bytes);
}

CFRef<CFStringRef> textFromBytes(std::string_view bytes) {
  CFRef<CFStringRef> text = textFromUtf8(bytes);
  if (!text) text = textIn(kCFStringEncodingISOLatin1, bytes);
  return text;
}

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
  const CFIndex length = CFStringGetLength(string);
  std::string bytes;
  for (CFIndex done = 0; done < length;) {
    const size_t start = bytes.size();
    const CFIndex room = CFStringGetMaximumSizeForEncoding(length - done, kCFStringEncodingUTF8);
    bytes.resize(start + static_cast<size_t>(room));
    CFIndex used = 0;
    done += CFStringGetBytes(string, CFRangeMake(done, length - done), kCFStringEncodingUTF8, '?',
                             false, reinterpret_cast<UInt8*>(&bytes[start]), room, &used);
    bytes.resize(start + static_cast<size_t>(used));
    // A CoreFoundation may stop at a lone surrogate although it was given a byte for it.
    if (done < length) {
      bytes += '?';
      ++done;
    }
  }
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
