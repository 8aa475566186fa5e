#include "bench/thread_farm.h"

#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <stdexcept>

namespace corvane::bench {
namespace {

void* sleepOn(void*) {
  for (;;) pause();
}

/// Fills the calling process with sleeping threads, writes a byte to `ready` once they exist, and
/// never returns.
[[noreturn]] void holdThreads(size_t threads, int ready) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, static_cast<size_t>(sysconf(_SC_THREAD_STACK_MIN)));
  for (size_t i = 1; i < threads; ++i) {
    pthread_t thread;
    if (pthread_create(&thread, &attributes, sleepOn, nullptr) != 0) _exit(1);
  }
  if (write(ready, "", 1) != 1) _exit(1);
  close(ready);
  sleepOn(nullptr);
  _exit(0);
}

bool isNumber(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

/// Returns the entries of a folder of /proc that are numbers; none when the folder no longer
/// exists.
std::vector<std::string> numbersIn(const std::string& folder) {
  std::vector<std::string> numbers;
  std::error_code error;
  for (std::filesystem::directory_iterator at(folder, error), end; !error && at != end;
       at.increment(error)) {
    const std::string name = at->path().filename().string();
    if (isNumber(name)) numbers.push_back(name);
  }
  return numbers;
}

/// Ends the processes and waits for them.
void endAll(const std::vector<pid_t>& processes) {
  for (const pid_t pid : processes) kill(pid, SIGKILL);
  for (const pid_t pid : processes) waitpid(pid, nullptr, 0);
}

}  // namespace

ThreadFarm::ThreadFarm(const Plan& plan) : _plan(plan) {
  int ready[2];
  if (pipe(ready) != 0) throw std::runtime_error("no pipe");
  for (size_t made = 0; made < plan.threads; made += plan.threadsOfAProcess) {
    const pid_t pid = fork();
    if (pid == 0) {
      close(ready[0]);
      holdThreads(std::min(plan.threadsOfAProcess, plan.threads - made), ready[1]);
    }
    if (pid > 0) _processes.push_back(pid);
  }
  close(ready[1]);
  size_t arrived = 0;
  for (char byte; read(ready[0], &byte, 1) == 1;) ++arrived;
  close(ready[0]);
  if (arrived == (plan.threads + plan.threadsOfAProcess - 1) / plan.threadsOfAProcess) return;
  endAll(_processes);
  throw std::runtime_error("this machine does not allow so many threads");
}

ThreadFarm::~ThreadFarm() { endAll(_processes); }

const ThreadFarm& farm(const ThreadFarm::Plan& plan) {
  static std::unique_ptr<ThreadFarm> current;
  if (!current || current->plan() != plan) {
    current.reset();
    current = std::make_unique<ThreadFarm>(plan);
  }
  return *current;
}

ProcFiles procFiles() {
  ProcFiles files;
  files.folders = {"/proc"};
  for (const std::string& process : numbersIn("/proc")) {
    if (process == std::to_string(getpid())) continue;
    const std::string folder = "/proc/" + process;
    files.arguments.push_back(folder + "/cmdline");
    files.executables.push_back(folder + "/exe");
    files.folders.push_back(folder + "/task");
    for (const std::string& thread : numbersIn(folder + "/task")) {
      files.threads.push_back(folder + "/task/" + thread + "/stat");
    }
  }
  return files;
}

}  // namespace corvane::bench
