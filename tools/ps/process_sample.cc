#include <sys/sysctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "platform/mach_port.h"
#include "tools/ps/ps.h"

namespace corvane::tools {
namespace {

/// Takes one sample. The library's sampler is not enough: its records keep times in a form of their
/// own, and its pass ends with the first process that exits meanwhile.
class Sampler {
 public:
  Sample take() {
    int name[] = {CTL_KERN, KERN_ARGMAX};
    int32_t size = 0;
    size_t length = sizeof size;
    if (sysctl(name, 2, &size, &length, nullptr, 0) == 0 && size > 0) {
      _arguments.resize(static_cast<size_t>(size));
    }
    const MachPort host(mach_host_self());
    MachPortArray sets(MachPortArray::Ports::kOwned);
    if (works("host_processor_sets",
              host_processor_sets(host.get(), sets.out(), sets.outCount()))) {
      for (const processor_set_name_t set : sets.ports()) addProcesses(host.get(), set);
    }
    if (!_sample.processes.empty()) return std::move(_sample);
    const std::string reason = _sample.failure.empty() ? "none is listed" : _sample.failure;
    throw CommandError(kFailed, "the processes cannot be sampled: " + reason);
  }

 private:
  /// Returns whether the call succeeded, and keeps the first failure.
  bool works(const char* call, kern_return_t result) {
    if (result == KERN_SUCCESS) return true;
    if (_sample.failure.empty()) {
      _sample.failure = std::string(call) + "(): " + mach_error_string(result);
    }
    return false;
  }

  void addProcesses(mach_port_t host, processor_set_name_t set) {
    MachPort control;
    MachPortArray tasks(MachPortArray::Ports::kOwned);
    if (!works("host_processor_set_priv", host_processor_set_priv(host, set, control.out())) ||
        !works("processor_set_tasks",
               processor_set_tasks(control.get(), tasks.out(), tasks.outCount()))) {
      return;
    }
    _sample.processes.reserve(tasks.ports().size());
    for (const task_t task : tasks.ports()) addProcess(task);
  }

  void addProcess(task_t task) {
    ProcessSample process;
    const kern_return_t result = pid_for_task(task, &process.pid);
    if (result == KERN_FAILURE) return;  // It has exited since it was listed.
    if (!works("pid_for_task", result) || process.pid == getpid()) return;
    if (!addThreads(task, process)) return;
    task_thread_times_info_data_t times{};
    mach_msg_type_number_t count = TASK_THREAD_TIMES_INFO_COUNT;
    if (task_info(task, TASK_THREAD_TIMES_INFO, reinterpret_cast<task_info_t>(&times), &count) ==
        KERN_SUCCESS) {
      process.times = times;
    }
    process.name = nameOf(process.pid);
    _sample.processes.push_back(std::move(process));
  }

  /// Returns false when the threads cannot be listed. A failure counts unless the process or thread
  /// has exited meanwhile.
  bool addThreads(task_t task, ProcessSample& process) {
    MachPortArray threads(MachPortArray::Ports::kOwned);
    kern_return_t result = task_threads(task, threads.out(), threads.outCount());
    if (result != KERN_SUCCESS) {
      int pid = 0;
      return pid_for_task(task, &pid) == KERN_SUCCESS && works("task_threads", result);
    }
    process.threads.reserve(threads.ports().size());
    for (const thread_act_t thread : threads.ports()) {
      thread_basic_info_data_t info{};
      mach_msg_type_number_t count = THREAD_BASIC_INFO_COUNT;
      result =
          thread_info(thread, THREAD_BASIC_INFO, reinterpret_cast<thread_info_t>(&info), &count);
      if (result == MACH_SEND_INVALID_DEST || !works("thread_info", result)) continue;
      process.threads.push_back(
          {info.cpu_usage, info.run_state, info.flags, info.user_time, info.system_time});
      process.usage += info.cpu_usage;
    }
    return true;
  }

  std::string nameOf(int32_t pid) {
    if (pid == 0) return "kernel_task";
    if (std::string path = pathOf(pid); !path.empty()) return path;
    int name[] = {CTL_KERN, KERN_PROC, KERN_PROC_PID, pid};
    kinfo_proc process{};
    size_t length = sizeof process;
    if (sysctl(name, 4, &process, &length, nullptr, 0) != 0 || length < sizeof process) {
      return "[unknown]";
    }
    const char* const text = process.kp_proc.p_comm;
    return "[" + std::string(text, strnlen(text, sizeof process.kp_proc.p_comm)) + "]";
  }

  /// Returns the path after the argument count, or "" when it cannot be read.
  std::string pathOf(int32_t pid) {
    int name[] = {CTL_KERN, KERN_PROCARGS2, pid};
    size_t length = _arguments.size();
    if (length == 0 || sysctl(name, 3, _arguments.data(), &length, nullptr, 0) != 0) return {};
    if (length <= sizeof(int32_t)) return {};
    const char* const path = _arguments.data() + sizeof(int32_t);
    return std::string(path, strnlen(path, length - sizeof(int32_t)));
  }

  Sample _sample;
  /// Room for the arguments of one process.
  std::vector<char> _arguments;
};

}  // namespace

Sample takeSample() {
  Sample sample = Sampler().take();
  std::ranges::sort(sample.processes, [](const ProcessSample& a, const ProcessSample& b) {
    return a.usage != b.usage ? a.usage > b.usage : a.pid < b.pid;
  });
  return sample;
}

}  // namespace corvane::tools
