#ifndef CORVANE_TOOLS_PS_PROCESS_SAMPLE_H_
#define CORVANE_TOOLS_PS_PROCESS_SAMPLE_H_

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "processes/processes.h"

namespace corvane::tools {

using Seconds = std::chrono::duration<double>;

/// The shortest time over which the kernel's usage figures are measured.
inline constexpr Seconds kLeastUsageTime(0.25);

/// Usage is in percent of one processor, times are in seconds, as the library reckons them.
struct ThreadSample {
  /// Nothing when the thread could not be queried; the rest is empty then, too.
  std::optional<double> usage;
  std::string state;
  std::string flags;
  double user = 0;
  double system = 0;
};

struct ProcessSample {
  int32_t pid = 0;
  std::string name;
  double usage = 0;
  /// Nothing when the process could not be queried.
  std::optional<double> user;
  std::optional<double> system;
  std::vector<ThreadSample> threads;
};

struct Sample {
  std::vector<ProcessSample> processes;
  /// The kernel call at which the sample remained incomplete; empty when it is whole.
  std::string failure;
};

/// Takes samples of all processes but this one through the library. A process that exits meanwhile
/// ends the library's pass: then further passes add what the first ones did not reach. What the
/// library reports on standard output is kept out of the tool's own.
class ProcessSampler {
 public:
  /// A thread's usage is over its life the first time, then over the time since the last sample.
  /// Throws CommandError when there is no process to be had.
  Sample take();

 private:
  std::unique_ptr<Processes> _processes;
};

/// Writes a snapshot to the test log as the library does it, and returns the number of its lines.
/// Throws CommandError when no whole snapshot can be had.
size_t logSnapshot();

enum class Order { kPid, kUsage, kName };

/// Sorts by `order` (by usage with the busiest first), equals by process id, and keeps the first
/// `count`.
void arrange(std::vector<ProcessSample>& processes, Order order, std::optional<size_t> count);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_PS_PROCESS_SAMPLE_H_
