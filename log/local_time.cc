#include "log/local_time.h"

namespace corvane {

struct tm localTimeNow() {
  const time_t now = time(nullptr);
  // Also takes up a changed time zone, which localtime_r need not do.
  (void)localtime(&now);
  struct tm local {};
  return localtime_r(&now, &local) ? local : tm{};
}

CFRef<CFStringRef> timeText(CFStringRef format, const struct tm& time) {
  return CFRef<CFStringRef>(CFStringCreateWithFormat(
      kCFAllocatorDefault, nullptr, format, wrappingAdd(time.tm_year, 1900),
      wrappingAdd(time.tm_mon, 1), time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec));
}

}  // namespace corvane
