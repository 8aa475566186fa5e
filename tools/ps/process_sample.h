#ifndef CORVANE_TOOLS_PS_PROCESS_SAMPLE_H_
#define CORVANE_TOOLS_PS_PROCESS_SAMPLE_H_

#include <mach/mach.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/command_error.h"

namespace corvane::tools {

/// The shortest time over which the kernel's usage figures are measured.
inline constexpr std::chrono::milliseconds kMinUsageTime(250);

/// What the kernel says about one thread.
struct ThreadSample {
  /// Of TH_USAGE_SCALE, which is one processor.
  integer_t usage = 0;
  integer_t runState = 0;
  integer_t flags = 0;
  time_value_t user{};
  time_value_t system{};
};

struct ProcessSample {
  int32_t pid = 0;
  /// The executable's path, or the kernel's short name in brackets when the path cannot be read.
  std::string name;
  /// The sum over the threads.
  integer_t usage = 0;
  /// The sums over the live threads; nothing when the process could not be queried.
  std::optional<task_thread_times_info_data_t> times = {};
  std::vector<ThreadSample> threads = {};
};

struct Sample {
  /// The busiest first.
  std::vector<ProcessSample> processes;
  /// The first kernel call that failed although its process or thread was there, with its reason.
  /// Empty when the sample is complete.
  std::string failure;
};

/// Asks the kernel about all processes except this one. What exits meanwhile is left out. A usage
/// is measured over the time since the last sample, and over the thread's life in the first. Throws
/// CommandError when no process can be sampled.
Sample takeSample();

/// Returns the error of a machine without a process that can be sampled. `failure` is as in Sample.
CommandError noProcesses(const std::string& failure);

/// Returns the usage in percent of one processor, exact to the kernel's tenth: "12.5".
std::string percentText(integer_t usage);

/// Returns the seconds, truncated to hundredths: "12.05".
std::string secondsText(time_value_t time);

/// Returns "running", "stopped", "waiting", "uninterruptible", "halted" or "unknown_state".
const char* stateText(integer_t runState);

/// Returns the first of running, uninterruptible, stopped, waiting and halted that is the state of
/// one of the process's threads; "-" when there is none.
const char* stateText(const ProcessSample& process);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_PS_PROCESS_SAMPLE_H_
