#ifndef CORVANE_TOOLS_PS_PS_H_
#define CORVANE_TOOLS_PS_PS_H_

#include <mach/mach.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "tools/command_error.h"

/// What `corvane ps` shows.
namespace corvane::tools {

struct ThreadSample {
  /// Of TH_USAGE_SCALE, which is one processor.
  integer_t usage = 0;
  integer_t runState = 0;
  integer_t flags = 0;
  time_value_t user{}, system{};
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

/// Returns the usage in percent of one processor, exact to the kernel's tenth: "12.5".
std::string percentText(integer_t usage);

/// Prints the processes as a table whose rows take at most `width` columns where that leaves room
/// for names, with a row for each thread on request.
void printTable(std::ostream& out, const Sample& sample, bool withThreads, size_t width);

/// Prints the processes as a JSON document, piece by piece: a machine may have so many threads that
/// the text should not be held in memory.
void printJson(std::ostream& out, const Sample& sample, bool withThreads);

/// Prints the sample as a line of a stream, in one write. `missed` is how many samples were due
/// since the line before and were not taken.
void printJsonLine(std::ostream& out, const Sample& sample, bool withThreads, int64_t missed);

/// Reads lines of `corvane ps --watch --json`. Returns a chart of the CPU usage over time of the
/// eight processes that used most in total, as a self-contained SVG document. Throws CommandError
/// (wrong usage) with `name`, the line and the reason for other input. A last line that was cut
/// short does not count.
std::string plotSvg(std::FILE* lines, const std::string& name);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_PS_PS_H_
