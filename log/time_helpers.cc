#include "log/time_helpers.h"

#include "log/local_time.h"
#include "platform/out_of_memory.h"

using corvane::wrappingAdd;
using corvane::wrappingSubtract;

struct tm* getTime(void) {
  const time_t now = time(nullptr);
  return localtime(&now);
}

CFStringRef stringForTime(const struct tm* time) {
  return corvane::unlessOutOfMemory(nullptr, [&] {
    return corvane::timeText(CFSTR("%04d-%02d-%02d %02d:%02d:%02d"), *time).release();
  });
}

CFStringRef getTimeDifference(int32_t startHour, int32_t startMinute, int32_t startSecond,
                              int32_t endHour, int32_t endMinute, int32_t endSecond) {
  return corvane::unlessOutOfMemory(nullptr, [&]() -> CFStringRef {
    int32_t hours = wrappingSubtract(endHour, startHour);
    if (endHour < startHour) hours = wrappingAdd(hours, 24);

    // The borrows come after the wrap of the field above and are not carried further.
    int32_t minutes = wrappingSubtract(endMinute, startMinute);
    if (endMinute < startMinute) {
      minutes = wrappingAdd(minutes, 60);
      hours = wrappingSubtract(hours, 1);
    }
    int32_t seconds = wrappingSubtract(endSecond, startSecond);
    if (endSecond < startSecond) {
      seconds = wrappingAdd(seconds, 60);
      minutes = wrappingSubtract(minutes, 1);
    }
    return CFStringCreateWithFormat(kCFAllocatorDefault, nullptr, CFSTR("%02d:%02d:%02d"), hours,
                                    minutes, seconds);
  });
}
