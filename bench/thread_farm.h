#ifndef CORVANE_BENCH_THREAD_FARM_H_
#define CORVANE_BENCH_THREAD_FARM_H_

#include <sys/types.h>

#include <string>
#include <vector>

namespace corvane::bench {

/// Sleeping threads in processes of their own, which stand for the threads of a busier machine. The
/// destructor ends the processes.
class ThreadFarm {
 public:
  struct Plan {
    size_t threads;
    size_t threadsOfAProcess = 100;
    bool operator==(const Plan&) const = default;
  };

  /// Throws std::runtime_error when the machine does not allow so many.
  explicit ThreadFarm(const Plan& plan);
  ~ThreadFarm();
  ThreadFarm(const ThreadFarm&) = delete;
  ThreadFarm& operator=(const ThreadFarm&) = delete;

  const Plan& plan() const { return _plan; }
  /// Returns the process that is listed last.
  pid_t lastProcess() const { return _processes.back(); }

 private:
  Plan _plan;
  std::vector<pid_t> _processes;
};

/// Returns a farm with that plan. It replaces the previous farm unless that has the same plan.
const ThreadFarm& farm(const ThreadFarm::Plan& plan);

/// The paths in /proc that describe the machine's processes and threads, except the caller's.
struct ProcFiles {
  /// The folders that list processes and threads.
  std::vector<std::string> folders;
  /// The file with the state and times of each thread.
  std::vector<std::string> threads;
  /// The file with the arguments of each process.
  std::vector<std::string> arguments;
  /// The link to the executable of each process.
  std::vector<std::string> executables;
};
ProcFiles procFiles();

}  // namespace corvane::bench

#endif  // CORVANE_BENCH_THREAD_FARM_H_
