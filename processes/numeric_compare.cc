#include "processes/numeric_compare.h"

#include "platform/out_of_memory.h"

CFComparisonResult numericCompare(CFStringRef receiver, CFTypeRef other) {
  return corvane::unlessOutOfMemory(kCFCompareEqualTo, [&]() -> CFComparisonResult {
    if (!receiver || !other || CFGetTypeID(other) != CFStringGetTypeID()) return kCFCompareEqualTo;
    const SInt32 value1 = CFStringGetIntValue(receiver);
    const SInt32 value2 = CFStringGetIntValue(static_cast<CFStringRef>(other));
    // Equal values are ascending, too.
    return value1 > value2 ? kCFCompareGreaterThan : kCFCompareLessThan;
  });
}
