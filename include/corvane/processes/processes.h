#ifndef CORVANE_PROCESSES_PROCESSES_H_
#define CORVANE_PROCESSES_PROCESSES_H_

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

#include "../platform/cf_ref.h"
#include "../platform/export.h"

namespace corvane {

/// Samples the CPU usage of every task except the caller's own. A snapshot is a dictionary of
/// process records, with the process id in decimal text as the key ("0" is the kernel task). A
/// process record holds
///
///     "threads"       an array of thread records
///     "total_usage"   a number: the sum of the threads' "cpu_usage"
///     "name"          the executable's path, else "kernel_task" (process 0) or "[Unknown Name]"
///     "user_time", "system_time"   numbers: the sums over the live threads; absent when the task
///                     cannot be queried
///
/// and a thread record, which is empty when the thread could not be queried, holds
///
///     "cpu_usage"     a number: percent of one processor, from the kernel's own figure
///     "run_state"     "running", "stopped", "waiting", "uninterruptible", "halted" or
///                     "unknown_state"
///     "flags"         "idle" or "swapped"
///     "user_time", "system_time"   numbers
///
/// Times are in seconds, with the hundredths after the point and without a leading zero: 3.09 s
/// reads 3.9. An instance must be used from one thread at a time.
class Processes {
 public:
  /// Takes a first snapshot.
  CORVANE_EXPORT Processes();

  /// Drops the snapshot, takes a new one and returns it. A kernel call that fails is reported on
  /// standard output and ends the pass, even when a task has merely exited since it was listed: the
  /// snapshot then holds the processes before it. Only failures to query a thread, a task's name or
  /// its times do not end the pass. The result is borrowed: it is valid until the next refresh or
  /// the end of the instance. Returns null only when no dictionary can be created.
  CORVANE_EXPORT CFMutableDictionaryRef refreshProcesses();

  /// Returns the current snapshot without sampling, borrowed as from `refreshProcesses`.
  CORVANE_EXPORT CFMutableDictionaryRef getCachedProcesses();

  /// Writes the current snapshot to the test log: a line of titles, a rule, and one line per
  /// process in ascending order of process ids with its CPU usage, user time, system time and name.
  CORVANE_EXPORT void prettyPrintToLog();

 private:
  /// Returns "name", and "user_time" and "system_time" when the task can be queried.
  CORVANE_EXPORT CFRef<CFMutableDictionaryRef> taskInfoForPID(int32_t pid);
  /// Returns a thread record and adds its "cpu_usage" to `usage`.
  CORVANE_EXPORT CFRef<CFMutableDictionaryRef> threadInfoForPort(uint32_t port, double* usage);

  /// Return false when the pass must end.
  bool addProcesses(uint32_t host, uint32_t set, int32_t ownPid);
  bool addProcess(uint32_t task, int32_t ownPid);
  bool addThreads(CFMutableArrayRef records, uint32_t task, double* usage);

  CFRef<CFMutableDictionaryRef> _processes;
};

}  // namespace corvane

#endif  // CORVANE_PROCESSES_PROCESSES_H_
