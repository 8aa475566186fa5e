#ifndef CORVANE_LOG_LOCAL_TIME_H_
#define CORVANE_LOG_LOCAL_TIME_H_

#include <cstdint>
#include <ctime>

#include "platform/cf_ref.h"

namespace corvane {

/// Returns the current local time from a conversion of its own, which no other thread can change;
/// all zero when the clock cannot be converted. The record that `getTime` returns is overwritten
/// as well.
struct tm localTimeNow();

/// Returns a new string of `format`, which takes six integers: year, month, day, hour, minute and
/// second of `time`. Returns null when it cannot be made.
CFRef<CFStringRef> timeText(CFStringRef format, const struct tm& time);

/// Add and subtract any two fields: out-of-range readings wrap instead of being undefined.
constexpr int32_t wrappingAdd(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
constexpr int32_t wrappingSubtract(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

}  // namespace corvane

#endif  // CORVANE_LOG_LOCAL_TIME_H_
