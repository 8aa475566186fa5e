#ifndef CORVANE_HOST_MACH_TASK_SOURCE_H_
#define CORVANE_HOST_MACH_TASK_SOURCE_H_

#include <mach/mach.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/export.h"

namespace corvane::host {

/// The process id of the kernel task.
inline constexpr int32_t kKernelTask = 0;

/// What the Mach calls and sysctl measure: the tasks and threads of a machine, by their ids. Calls
/// may come from any thread. Each returns KERN_SUCCESS and stores its answer, or stores nothing and
/// returns MACH_SEND_INVALID_DEST when the task or thread has gone, KERN_RESOURCE_SHORTAGE when
/// this process lacks the means to find out (file descriptors, memory), or KERN_FAILURE.
class CORVANE_EXPORT TaskSource {
 public:
  struct Arguments {
    /// The executable's path.
    std::string path;
    /// The arguments, each ended by a zero.
    std::string words;
  };

  virtual ~TaskSource() = default;

  /// Returns the number of processor sets, each with all tasks.
  virtual size_t processorSets() { return 1; }
  /// Stores the process ids of all tasks, including the caller's own.
  virtual kern_return_t tasks(std::vector<int32_t>& pids) = 0;
  /// Succeeds when the task exists.
  virtual kern_return_t findTask(int32_t pid) = 0;
  /// Stores the ids of the task's threads.
  virtual kern_return_t threads(int32_t pid, std::vector<int32_t>& ids) = 0;
  virtual kern_return_t threadInfo(int32_t pid, int32_t thread, thread_basic_info_data_t& info) = 0;
  /// Stores the sums over the task's live threads.
  virtual kern_return_t taskTimes(int32_t pid, task_thread_times_info_data_t& times) = 0;
  /// Stores the task's path and arguments. Fails with KERN_FAILURE when the path cannot be read.
  virtual kern_return_t arguments(int32_t pid, Arguments& arguments) = 0;
  /// Stores the kernel's short name of the task.
  virtual kern_return_t name(int32_t pid, std::string& name) = 0;
};

/// Returns the machine that this process runs on. Each system that the host platform runs on
/// defines this function.
std::shared_ptr<TaskSource> newMachine();

/// Returns the source in use: the machine, unless a test put another source in its place.
std::shared_ptr<TaskSource> taskSource();

/// Replaces the source in use; null puts the machine back. For tests.
CORVANE_EXPORT void useTaskSource(std::shared_ptr<TaskSource> source);

}  // namespace corvane::host

#endif  // CORVANE_HOST_MACH_TASK_SOURCE_H_
