#ifndef CORVANE_HOST_LINUX_MACHINE_H_
#define CORVANE_HOST_LINUX_MACHINE_H_

#include <mutex>
#include <unordered_map>

#include "host/linux/proc_files.h"
#include "host/linux/thread_stat.h"
#include "host/mach/task_source.h"

namespace corvane::host {

/// The machine that this process runs on, read from /proc: a task is a process, and all kernel
/// threads together are the threads of the kernel task. A thread costs one open, read and close;
/// only what is needed to tell what it used since it was last asked about is kept of it, and
/// nothing of what has gone.
class Machine : public TaskSource {
 public:
  std::optional<std::vector<int32_t>> tasks() override;
  bool hasTask(int32_t pid) override;
  std::optional<std::vector<int32_t>> threads(int32_t pid) override;
  std::optional<thread_basic_info_data_t> threadInfo(int32_t pid, int32_t thread) override;
  /// A thread that was asked about since its task's threads were listed counts with that reading,
  /// so that a pass over all tasks reads each thread once.
  std::optional<task_thread_times_info_data_t> taskTimes(int32_t pid) override;
  std::optional<Arguments> arguments(int32_t pid) override;

 private:
  /// A thread as it was when it was last asked about.
  struct KnownThread {
    int32_t id = 0;
    /// Whether its times are yet to be counted by `taskTimes`.
    bool isUncounted = false;
    /// 0 before it was asked about. In nanoseconds since boot.
    int64_t askedAt = 0;
    ThreadStat stat;
  };
  struct KnownTask {
    bool isKernelThread = false;
    /// The listing of processes that it was last seen in.
    uint64_t seenIn = 0;
    /// In rising order of their ids.
    std::vector<KnownThread> threads;
  };

  KnownTask* find(int32_t pid);
  bool listProcesses();
  bool listThreads(int32_t pid);
  std::optional<ThreadStat> readStat(int32_t pid, int32_t thread);
  static integer_t usage(const KnownThread& known, const ThreadStat& stat, int64_t now);

  std::mutex _mutex;
  uint64_t _listings = 0;
  std::unordered_map<int32_t, KnownTask> _tasks;
  /// What was listed last.
  std::vector<int32_t> _ids;
  /// The threads of the process that was listed last, until its times were asked for.
  int32_t _openPid = -1;
  ProcFolder _openFolder;
};

}  // namespace corvane::host

#endif  // CORVANE_HOST_LINUX_MACHINE_H_
