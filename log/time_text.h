#ifndef CORVANE_LOG_TIME_TEXT_H_
#define CORVANE_LOG_TIME_TEXT_H_

#include <time.h>

#include "platform/cf_ref.h"

namespace corvane {

/// `a + b` and `a - b` of any two fields: out-of-range readings wrap instead of being undefined.
inline int32_t wrappingAdd(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
inline int32_t wrappingSubtract(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

/// `format` filled with year, month, day, hour, minute and second of `time`.
inline CFRef<CFStringRef> timeText(CFStringRef format, const struct tm& time) {
  return CFRef<CFStringRef>(CFStringCreateWithFormat(
      kCFAllocatorDefault, nullptr, format, wrappingAdd(time.tm_year, 1900),
      wrappingAdd(time.tm_mon, 1), time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec));
}

}  // namespace corvane

#endif  // CORVANE_LOG_TIME_TEXT_H_
