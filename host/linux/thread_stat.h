#ifndef CORVANE_HOST_LINUX_THREAD_STAT_H_
#define CORVANE_HOST_LINUX_THREAD_STAT_H_

#include <mach/mach.h>

#include <cstdint>
#include <optional>
#include <string_view>

namespace corvane::host {

/// What a thread's line in /proc tells of it. Times are in clock ticks, the start's since boot.
struct ThreadStat {
  char state = 0;
  bool isKernelThread = false;
  uint64_t userTicks = 0;
  uint64_t systemTicks = 0;
  uint64_t startTicks = 0;
};

/// Nothing when the line is none or is cut short.
std::optional<ThreadStat> parseThreadStat(std::string_view line);

/// Clock ticks of one second.
uint64_t ticksPerSecond();

time_value_t timeOfTicks(uint64_t ticks);

/// The kernel's state and flags of a thread in Linux's `state`.
void setRunState(char state, thread_basic_info_data_t& info);

}  // namespace corvane::host

#endif  // CORVANE_HOST_LINUX_THREAD_STAT_H_
