#ifndef CORVANE_HOST_COREFOUNDATION_TESTING_OBJECTS_H_
#define CORVANE_HOST_COREFOUNDATION_TESTING_OBJECTS_H_

#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <string_view>

#include "platform/cf_ref.h"

namespace cf {

using corvane::CFRef;

inline CFRef<CFStringRef> makeString(std::string_view utf8) {
  return CFRef(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                       static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8,
                                       false));
}

inline CFRef<CFNumberRef> makeNumber(int value) {
  return CFRef(CFNumberCreate(nullptr, kCFNumberIntType, &value));
}

inline CFRef<CFDataRef> makeData(std::string_view bytes) {
  return CFRef(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                            static_cast<CFIndex>(bytes.size())));
}

inline CFRef<CFMutableDictionaryRef> makeDictionary() {
  return CFRef(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                         &kCFTypeDictionaryValueCallBacks));
}

/// The string in UTF-8, lone surrogates as '?'; "no string" for null.
inline std::string textOf(CFStringRef string) {
  if (string == nullptr) return "no string";
  const CFIndex length = CFStringGetLength(string);
  std::string text(
      static_cast<size_t>(CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8)), '\0');
  CFIndex used = 0;
  CFStringGetBytes(string, CFRangeMake(0, length), kCFStringEncodingUTF8, '?', false,
                   reinterpret_cast<UInt8*>(text.data()), static_cast<CFIndex>(text.size()), &used);
  text.resize(static_cast<size_t>(used));
  return text;
}

/// What "%@" makes of the object.
inline std::string shown(CFTypeRef object) {
  const CFRef text(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@"), object));
  return textOf(text.get());
}

}  // namespace cf

#endif  // CORVANE_HOST_COREFOUNDATION_TESTING_OBJECTS_H_
