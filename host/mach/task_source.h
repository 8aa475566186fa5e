#ifndef CORVANE_HOST_MACH_TASK_SOURCE_H_
#define CORVANE_HOST_MACH_TASK_SOURCE_H_

#include <mach/mach.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace corvane::host {

/// The process id of the kernel task.
inline constexpr int32_t kKernelTask = 0;

/// What the Mach calls and sysctl measure: the tasks and threads of a machine, by their ids.
/// Nothing (or false) stands for a task or thread that is gone. Calls may come from any thread.
class __attribute__((visibility("default"))) TaskSource {
 public:
  struct Arguments {
    /// Of the executable.
    std::string path;
    /// Each argument with a zero behind it.
    std::string words;
  };

  virtual ~TaskSource() = default;

  /// The process ids of all tasks, the caller's own among them. Nothing when they cannot be listed.
  virtual std::optional<std::vector<int32_t>> tasks() = 0;
  virtual bool hasTask(int32_t pid) = 0;
  /// The ids of the task's threads.
  virtual std::optional<std::vector<int32_t>> threads(int32_t pid) = 0;
  virtual std::optional<thread_basic_info_data_t> threadInfo(int32_t pid, int32_t thread) = 0;
  /// What the task's live threads used.
  virtual std::optional<task_thread_times_info_data_t> taskTimes(int32_t pid) = 0;
  /// Nothing also when the path cannot be read.
  virtual std::optional<Arguments> arguments(int32_t pid) = 0;
};

/// The source in use: the machine that this process runs on, unless another was put in its place.
std::shared_ptr<TaskSource> taskSource();

/// Puts `source` in the place of the machine; null puts the machine back. For tests.
__attribute__((visibility("default"))) void useTaskSource(std::shared_ptr<TaskSource> source);

}  // namespace corvane::host

#endif  // CORVANE_HOST_MACH_TASK_SOURCE_H_
