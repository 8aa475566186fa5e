#ifndef CORVANE_PROCESSES_PROCESSES_H_
#define CORVANE_PROCESSES_PROCESSES_H_

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

#include "../platform/cf_ref.h"
#include "../platform/export.h"

namespace corvane {

/// A snapshot of what every task but the caller's own uses of the processors: a dictionary of
/// process records under their process ids as decimal text ("0" is the kernel task). A process
/// record holds
///
///     "threads"       an array of thread records
///     "total_usage"   a number: the sum of the threads' "cpu_usage"
///     "name"          the executable's path, else "kernel_task" (process 0) or "[Unknown Name]"
///     "user_time", "system_time"   numbers; of the live threads; absent when they cannot be had
///
/// and a thread record, which is empty when the thread could not be queried,
///
///     "cpu_usage"     a number: percent of one processor, as the kernel reckons it
///     "run_state"     "running", "stopped", "waiting", "uninterruptible", "halted" or
///                     "unknown_state"
///     "flags"         "idle" or "swapped"
///     "user_time", "system_time"   numbers
///
/// Times are seconds, with the hundredths behind the point unpadded: 3.09 s reads 3.9. An instance
/// is used from one thread at a time.
class Processes {
 public:
  /// Takes a snapshot.
  CORVANE_EXPORT Processes();

  /// Drops the snapshot, takes a new one and returns it. A kernel call that fails is reported on
  /// standard output; but for those about a single thread, a task's name or its times it ends the
  /// pass, also when a task has merely exited since it was listed: the snapshot then holds what
  /// came before. Borrowed: valid until the next refresh or the end of the instance. Null only when
  /// no dictionary can be made.
  CORVANE_EXPORT CFMutableDictionaryRef refreshProcesses();

  /// The snapshot as it stands, borrowed as from `refreshProcesses`.
  CORVANE_EXPORT CFMutableDictionaryRef getCachedProcesses();

  /// Writes the snapshot as it stands to the test log: a line of titles, a rule, and a line for
  /// each process in rising order of ids with its CPU share, user time, system time and name.
  CORVANE_EXPORT void prettyPrintToLog();

 private:
  /// "name", and "user_time" and "system_time" when the task can be queried.
  CORVANE_EXPORT CFRef<CFMutableDictionaryRef> taskInfoForPID(int32_t pid);
  /// A thread record, whose "cpu_usage" is added to `usage`.
  CORVANE_EXPORT CFRef<CFMutableDictionaryRef> threadInfoForPort(uint32_t port, double* usage);

  /// Each returns false when the pass ends.
  bool addProcesses(uint32_t host, uint32_t set, int32_t ownPid);
  bool addProcess(uint32_t task, int32_t ownPid);
  bool addThreads(CFMutableArrayRef records, uint32_t task, double* usage);

  CFRef<CFMutableDictionaryRef> _processes;
};

}  // namespace corvane

#endif  // CORVANE_PROCESSES_PROCESSES_H_
