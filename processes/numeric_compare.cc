#include "processes/numeric_compare.h"

CFComparisonResult numericCompare(CFStringRef receiver, CFTypeRef other) {
  if (!receiver || !other || CFGetTypeID(other) != CFStringGetTypeID()) return kCFCompareEqualTo;
  const SInt32 value1 = CFStringGetIntValue(receiver);
  const SInt32 value2 = CFStringGetIntValue(static_cast<CFStringRef>(other));
  return value1 > value2 ? kCFCompareGreaterThan : kCFCompareLessThan;
}
