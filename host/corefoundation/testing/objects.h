#ifndef CORVANE_HOST_COREFOUNDATION_TESTING_OBJECTS_H_
#define CORVANE_HOST_COREFOUNDATION_TESTING_OBJECTS_H_

#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <string_view>

#include "testing/unit_test.h"

namespace corvane::testing {

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

/// Returns what "%@" makes of the object.
inline std::string shown(CFTypeRef object) {
  return text(CFRef(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@"), object)).get());
}

}  // namespace corvane::testing

#endif  // CORVANE_HOST_COREFOUNDATION_TESTING_OBJECTS_H_
