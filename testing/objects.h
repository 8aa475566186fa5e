#ifndef CORVANE_TESTING_OBJECTS_H_
#define CORVANE_TESTING_OBJECTS_H_

#include <CoreFoundation/CoreFoundation.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "testing/unit_test.h"

namespace corvane::testing {

inline CFRef<CFNumberRef> makeNumber(int64_t value) {
  return CFRef(CFNumberCreate(nullptr, kCFNumberSInt64Type, &value));
}

inline CFRef<CFNumberRef> makeReal(double value) {
  return CFRef(CFNumberCreate(nullptr, kCFNumberDoubleType, &value));
}

/// Returns a string of these UTF-16 units, which need not be well-formed.
inline CFRef<CFStringRef> makeString(std::u16string_view units) {
  return CFRef(CFStringCreateWithCharacters(nullptr, reinterpret_cast<const UniChar*>(units.data()),
                                            static_cast<CFIndex>(units.size())));
}

inline CFRef<CFDataRef> makeData(std::string_view bytes) {
  return CFRef(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                            static_cast<CFIndex>(bytes.size())));
}

inline CFRef<CFMutableArrayRef> makeArray(std::initializer_list<const void*> values) {
  CFRef list(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  for (const void* value : values) CFArrayAppendValue(list.get(), value);
  return list;
}

inline CFRef<CFMutableDictionaryRef> makeDictionary(
    std::initializer_list<std::pair<CFTypeRef, CFTypeRef>> entries = {}) {
  CFRef dictionary(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                             &kCFTypeDictionaryValueCallBacks));
  for (const auto& [key, value] : entries) CFDictionarySetValue(dictionary.get(), key, value);
  return dictionary;
}

/// Returns the data's bytes, or "(absent)" for null.
inline std::string bytesOf(CFDataRef data) {
  if (!data) return "(absent)";
  return {reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
          static_cast<size_t>(CFDataGetLength(data))};
}

/// Returns the object's text in a format with "%@".
inline std::string shown(CFTypeRef object) {
  return text(CFRef(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@"), object)).get());
}

}  // namespace corvane::testing

#endif  // CORVANE_TESTING_OBJECTS_H_
