#include "log/local_time.h"

#include <mutex>

#include "platform/fork_safe_lock.h"

namespace corvane {
namespace {

struct LocalTime;

}  // namespace

struct tm localTimeNow() {
  const time_t now = time(nullptr);
  // A child of fork cannot free the lock that the C library holds in a conversion.
  const std::lock_guard lock(ForkSafeLock<LocalTime>::get());
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
