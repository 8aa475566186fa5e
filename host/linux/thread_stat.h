#ifndef CORVANE_HOST_LINUX_THREAD_STAT_H_
#define CORVANE_HOST_LINUX_THREAD_STAT_H_

#include <mach/mach.h>

#include <cstdint>
#include <optional>
#include <string_view>

namespace corvane::host {

constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;

/// What the `stat` file of a thread says. Times are in clock ticks, the start time since boot.
struct ThreadStat {
  char state = 0;
  bool isKernelThread = false;
  uint64_t userTicks = 0;
  uint64_t systemTicks = 0;
  uint64_t startTicks = 0;
};

/// Parses a thread's line. Returns nothing when the line is not that of a thread or is cut short.
std::optional<ThreadStat> parseThreadStat(std::string_view line);

/// Returns the number of clock ticks in a second.
uint64_t ticksPerSecond();

time_value_t timeOfTicks(uint64_t ticks);

/// Sets the run state and the flags that correspond to Linux's `state`.
void setRunState(char state, thread_basic_info_data_t& info);

}  // namespace corvane::host

#endif  // CORVANE_HOST_LINUX_THREAD_STAT_H_
