#ifndef CORVANE_BENCH_THREAD_FARM_H_
#define CORVANE_BENCH_THREAD_FARM_H_

#include <sys/types.h>

#include <string>
#include <vector>

namespace corvane::bench {

/// Sleeping threads in processes of their own, for a machine that has that many more. They are gone
/// with the object.
class ThreadFarm {
 public:
  /// Throws std::runtime_error when the machine does not allow them.
  explicit ThreadFarm(size_t threads);
  ~ThreadFarm();
  ThreadFarm(const ThreadFarm&) = delete;
  ThreadFarm& operator=(const ThreadFarm&) = delete;

  size_t size() const { return _size; }
  /// The last process to be listed.
  pid_t lastProcess() const { return _processes.back(); }

 private:
  size_t _size;
  std::vector<pid_t> _processes;
};

/// The farm of that size, which takes the place of the one before unless it has the size already.
const ThreadFarm& farm(size_t threads);

/// What in /proc tells of the machine's processes and threads, but for the caller's.
struct ProcFiles {
  /// The folders that list processes and threads.
  std::vector<std::string> folders;
  /// The files with what each thread does.
  std::vector<std::string> threads;
  /// The files with the arguments of each process.
  std::vector<std::string> arguments;
};
ProcFiles procFiles();

}  // namespace corvane::bench

#endif  // CORVANE_BENCH_THREAD_FARM_H_
