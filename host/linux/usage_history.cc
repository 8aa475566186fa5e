#include "host/linux/usage_history.h"

#include <algorithm>

namespace corvane::host {
namespace {

constexpr int64_t kMinHistory = kNanosecondsPerSecond / 4;

int64_t nanosecondsOfTicks(uint64_t ticks) {
  return static_cast<int64_t>(ticks) *
         (kNanosecondsPerSecond / static_cast<int64_t>(ticksPerSecond()));
}

}  // namespace

integer_t UsageHistory::add(const ThreadStat& stat, int64_t now) {
  const Reading reading = {now, stat.userTicks + stat.systemTicks};
  if (stat.startTicks != _startTicks) {
    _startTicks = stat.startTicks;
    _earlier = {nanosecondsOfTicks(stat.startTicks), 0};
    _later = reading;
  } else if (now - _later.at >= kMinHistory) {
    _earlier = _later;
    _later = reading;
  }
  if (reading.ticks <= _earlier.ticks) return 0;
  const int64_t used = nanosecondsOfTicks(reading.ticks - _earlier.ticks);
  const int64_t elapsed = std::max(now - _earlier.at, nanosecondsOfTicks(1));
  // Ticks are coarse: over a short time a thread may seem to have used more than there was.
  return static_cast<integer_t>(
      std::min<int64_t>(used / (elapsed / TH_USAGE_SCALE), TH_USAGE_SCALE));
}

}  // namespace corvane::host
