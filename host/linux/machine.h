#ifndef CORVANE_HOST_LINUX_MACHINE_H_
#define CORVANE_HOST_LINUX_MACHINE_H_

#include <mutex>
#include <string>
#include <unordered_map>

#include "host/linux/proc_files.h"
#include "host/linux/thread_stat.h"
#include "host/linux/usage_history.h"
#include "host/mach/task_source.h"
#include "platform/export.h"

namespace corvane::host {

/// The machine that this process runs on, read from /proc: a task is a process, and all kernel
/// threads together are the threads of the kernel task. Reading a thread costs one open, read and
/// close. It keeps of each thread only what its CPU usage needs, and nothing of one that has gone.
class CORVANE_EXPORT Machine : public TaskSource {
 public:
  /// Returns nanoseconds since boot.
  using Clock = int64_t (*)();

  Machine();
  /// For tests: reads `procFolder` in place of /proc, and `clock` in place of the system's.
  Machine(std::string procFolder, Clock clock);

  /// Reports on standard error, once, when there are no processes to list.
  kern_return_t tasks(std::vector<int32_t>& pids) override;
  /// Counts a process that was seen alive less than a millisecond ago as alive.
  kern_return_t findTask(int32_t pid) override;
  kern_return_t threads(int32_t pid, std::vector<int32_t>& ids) override;
  kern_return_t threadInfo(int32_t pid, int32_t thread, thread_basic_info_data_t& info) override;
  /// Uses the reading of a thread that was asked about since its task's threads were listed, so
  /// that a pass over all tasks reads each thread once.
  kern_return_t taskTimes(int32_t pid, task_thread_times_info_data_t& times) override;
  kern_return_t arguments(int32_t pid, Arguments& arguments) override;
  kern_return_t name(int32_t pid, std::string& name) override;

 private:
  struct KnownThread {
    int32_t id = 0;
    /// Whether the times of its last reading are yet to be counted by `taskTimes`.
    bool isUncounted = false;
    uint64_t userTicks = 0;
    uint64_t systemTicks = 0;
    UsageHistory usage;
  };
  struct KnownTask {
    bool isKernelThread = false;
    /// The listing of processes that it was last seen in.
    uint64_t seenIn = 0;
    /// In ascending order of their ids.
    std::vector<KnownThread> threads;
  };
  /// The folder of a process's threads, kept open until its times are asked for.
  struct OpenTask {
    int32_t pid = -1;
    ProcFolder folder;
    bool isListed = false;
    /// When the process was last seen alive, in nanoseconds since boot.
    int64_t aliveAt = 0;
  };

  KnownTask* find(int32_t pid);
  kern_return_t listProcesses(std::vector<int32_t>& pids);
  kern_return_t listThreads(int32_t pid, std::vector<int32_t>& ids);
  kern_return_t openTask(int32_t pid);
  kern_return_t readStat(int32_t pid, int32_t thread, ThreadStat& stat);

  const std::string _proc;
  const Clock _clock;
  std::mutex _mutex;
  uint64_t _listings = 0;
  /// All processes and kernel threads, as they were listed last, and when.
  std::vector<int32_t> _listed;
  int64_t _listedAt = 0;
  std::unordered_map<int32_t, KnownTask> _tasks;
  OpenTask _open;
  bool _hasReported = false;
};

}  // namespace corvane::host

#endif  // CORVANE_HOST_LINUX_MACHINE_H_
